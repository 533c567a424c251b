#include "events/auth/uAuthEvent.h"

#include "events/auth/uAuthHandler.h"

AuthGetUrlAndCodeData::AuthGetUrlAndCodeData() {
  AddChildToElementInConstructor(&m_integer1);
  AddChildToElementInConstructor(&m_integer2);
}
AuthGetUrlAndCodeData::~AuthGetUrlAndCodeData() = default;

AuthGetUrlAndCodeResponseData::AuthGetUrlAndCodeResponseData() {
  AddChildToElementInConstructor(&m_integer1);
  for (IString* text : {&m_string1, &m_string2, &m_string3}) {
    text->SetValue(std::string());
    AddChildToElementInConstructor(text);
  }
}
AuthGetUrlAndCodeResponseData::~AuthGetUrlAndCodeResponseData() = default;

AuthCredentialsResponseData::AuthCredentialsResponseData() {
  AddChildToElementInConstructor(&m_integer1);
  AddChildToElementInConstructor(&m_integer2);
  for (IString& text : m_strings) {
    text.SetValue(std::string());
    AddChildToElementInConstructor(&text);
  }
}
AuthCredentialsResponseData::~AuthCredentialsResponseData() = default;

RejectReponseData::RejectReponseData() {
  m_string1.SetValue(std::string());
  AddChildToElementInConstructor(&m_integer1);
  AddChildToElementInConstructor(&m_string1);
  AddChildToElementInConstructor(&m_integer2);
}
RejectReponseData::~RejectReponseData() = default;

uAuthEvent::uAuthEvent() = default;
uAuthEvent::~uAuthEvent() = default;
const char* uAuthEvent::GetStr() const { return "uAuthEvent"; }
int uAuthEvent::getEventFamilyType() const { return VM_EVENT_FAMILY_AUTH; }
uEventHandlerPtr uAuthEvent::GetSender() const { return uEventHandlerPtr(m_sender.lock()); }
uEventHandlerPtr uAuthEvent::GetReceiver() const { return uEventHandlerPtr(m_receiver.lock()); }

bool uAuthEvent::BaseDispatch() {
  boost::shared_ptr<uAuthHandler> receiver = m_receiver.lock();
  if (!receiver) return false;
  receiver->HandleBaseEv(*this);
  return true;
}

void uAuthEvent::SetSender(const boost::shared_ptr<uAuthHandler>& sender) { m_sender = sender; }
void uAuthEvent::SetReceiver(const boost::shared_ptr<uAuthHandler>& receiver) {
  m_receiver = receiver;
}

#define DM_AUTH_EVENT(name, type, direction)                                   \
  name::name() = default;                                                      \
  name::~name() = default;                                                     \
  const char* name::GetStr() const { return #name; }                          \
  int name::getEventType() const { return type; }                             \
  int name::EventDirection() const { return direction; }                      \
  void name::Dispatch(uAuthHandler& handler) { handler.HandleEvent(*this); }

DM_AUTH_EVENT(AuthGetUrlAndCodeEv, 0, 0)
DM_AUTH_EVENT(AuthCancelUrlAndCodeEv, 1, 0)
DM_AUTH_EVENT(AuthGetUrlAndCodeResponseEv, 2, 1)
DM_AUTH_EVENT(AuthCredentialsResponseEv, 3, 1)
DM_AUTH_EVENT(AuthRejectResponseEv, 4, 1)

ISerializable* AuthGetUrlAndCodeEv::getEventData() { return &m_data; }
ISerializable* AuthGetUrlAndCodeResponseEv::getEventData() { return &m_data; }
ISerializable* AuthCredentialsResponseEv::getEventData() { return &m_data; }
ISerializable* AuthRejectResponseEv::getEventData() { return &m_data; }

// Out of line so that every process shares one exported definition.
const char* AuthGetUrlAndCodeData::GetName() const { return "AuthGetUrlAndCodeData"; }
const char* AuthGetUrlAndCodeResponseData::GetName() const { return "AuthGetUrlAndCodeResponseData"; }
const char* AuthCredentialsResponseData::GetName() const { return "AuthCredentialsResponseData"; }
const char* RejectReponseData::GetName() const { return "RejectReponseData"; }
