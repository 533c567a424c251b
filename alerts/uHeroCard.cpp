#include "alerts/uHeroCard.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "platform/vmCfg.h"
#include "platform/vmLog.h"

const std::string uHeroCard::separator = "-";

uHeroCard::Content::Image::Image() { AddChildToElementInConstructor(&m_url); }
uHeroCard::Content::Image::~Image() = default;

uHeroCard::Content::Button::Button() {
  AddChildToElementInConstructor(&m_type);
  AddChildToElementInConstructor(&m_title);
  AddChildToElementInConstructor(&m_value);
  AddChildToElementInConstructor(&m_icon);
}
uHeroCard::Content::Button::~Button() = default;

uHeroCard::Content::Content() {
  AddChildToElementInConstructor(&m_version);
  AddChildToElementInConstructor(&m_issuer);
  AddChildToElementInConstructor(&m_title);
  AddChildToElementInConstructor(&m_subtitle);
  AddChildToElementInConstructor(&m_text);
  AddChildToElementInConstructor(&m_images);
  AddChildToElementInConstructor(&m_buttons);
}
uHeroCard::Content::~Content() = default;

uHeroCard::Sound::Sound() {
  AddChildToElementInConstructor(&m_path);
  AddChildToElementInConstructor(&m_repeat);
}
uHeroCard::Sound::~Sound() = default;

uHeroCard::uHeroCard(const std::string& suffix) {
  AddChildToElementInConstructor(&m_content);
  AddChildToElementInConstructor(&m_channel);
  AddChildToElementInConstructor(&m_originator);
  AddChildToElementInConstructor(&m_delete);
  AddChildToElementInConstructor(&m_onOff);
  AddChildToElementInConstructor(&m_timeout);
  AddChildToElementInConstructor(&m_sound);
  AddChildToElementInConstructor(&m_type);
  m_originator.SetValue(BuildOriginator(suffix));
}
uHeroCard::~uHeroCard() = default;

std::string uHeroCard::BuildOriginator(const std::string& suffix) {
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/comm", static_cast<int>(getpid()));
  std::string processName;
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  // Descriptor 0 (standard input closed) counts as a failed open, as it always
  // has for card originators; it is still closed.
  if (fd == 0) close(fd);
  if (fd > 0) {
    char name[128];
    std::memset(name, 0, sizeof name);
    // One byte short of the buffer so the text always ends in a NUL.
    const ssize_t got = read(fd, name, sizeof name - 1);
    if (got == 0) {
      DM_LOG(VM_LOG_MODULE_ALERTS, LOG_ERR, "Could not read process name.");
    }
    close(fd);
    processName = name;
    // The kernel ends the name with a line feed.
    if (!processName.empty()) processName.erase(processName.size() - 1);
  }
  const char* device = g699();
  return BuildOriginator(device ? device : "", processName, suffix);
}

std::string uHeroCard::BuildOriginator(const std::string& a, const std::string& b, const std::string& c) {
  std::string originator = a + separator + b;
  if (!c.empty()) originator += separator + c;
  return originator;
}

// Out of line so that every process shares one exported definition.
const char* uHeroCard::Content::Version::GetName() const { return "version"; }
const char* uHeroCard::Content::Issuer::GetName() const { return "issuer"; }
const char* uHeroCard::Content::Title::GetName() const { return "title"; }
const char* uHeroCard::Content::Subtitle::GetName() const { return "subtitle"; }
const char* uHeroCard::Content::Text::GetName() const { return "text"; }
const char* uHeroCard::Content::Image::URL::GetName() const { return "url"; }
const char* uHeroCard::Content::Image::GetName() const { return "images"; }
const char* uHeroCard::Content::Images::GetName() const { return "images"; }
const char* uHeroCard::Content::Button::Type::GetName() const { return "type"; }
const char* uHeroCard::Content::Button::Title::GetName() const { return "title"; }
const char* uHeroCard::Content::Button::Value::GetName() const { return "value"; }
const char* uHeroCard::Content::Button::Icon::GetName() const { return "icon"; }
const char* uHeroCard::Content::Button::GetName() const { return "buttons"; }
const char* uHeroCard::Content::Buttons::GetName() const { return "buttons"; }
const char* uHeroCard::Content::GetName() const { return "content"; }
const char* uHeroCard::Channel::GetName() const { return "channel"; }
const char* uHeroCard::Originator::GetName() const { return "originator"; }
const char* uHeroCard::Delete::GetName() const { return "delete"; }
const char* uHeroCard::OnOff::GetName() const { return "onOff"; }
const char* uHeroCard::Timeout::GetName() const { return "timeout"; }
const char* uHeroCard::Sound::Path::GetName() const { return "path"; }
const char* uHeroCard::Sound::Repeat::GetName() const { return "repeat"; }
const char* uHeroCard::Sound::GetName() const { return "sound"; }
const char* uHeroCard::Type::GetName() const { return "type"; }
const char* uHeroCard::GetName() const { return "uHeroCard"; }
