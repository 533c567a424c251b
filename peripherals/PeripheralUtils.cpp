#include "peripherals/PeripheralUtils.h"

#include <algorithm>
#include <iterator>

#include "platform/vmCfg.h"
#include "platform/vmFile.h"
#include "platform/vmLog.h"

namespace peripherals {
namespace {

char Upper(char c) {
  const unsigned char u = static_cast<unsigned char>(c);
  return (u >= 'a' && u <= 'z') ? static_cast<char>(u - 'a' + 'A') : c;
}

bool SameIgnoringCase(char a, char b) { return Upper(a) == Upper(b); }

}  // namespace

std::string ToUpper(const std::string& text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(), Upper);
  return upper;
}

bool EqualsIgnoreCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), SameIgnoringCase);
}

bool ContainsIgnoreCase(const std::string& haystack, const std::string& needle) {
  return std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end(), SameIgnoringCase) !=
         haystack.end();
}

int EnumValue(const char* path, const std::string& text) {
  const vmCfgParam* param = vmCfgFindParameterByPath(path);
  if (param == nullptr) return -1;
  return vmCfgStrToEnum(param, text.c_str());
}

std::string ReadFileText(const std::string& path) {
  std::string content;
  const vmFileStatus status = vmFileRead(path.c_str(), VM_FILE_CAP_JSON, 0, &content);
  if (status != VM_FILE_OK && status != VM_FILE_MISSING) {
    DM_LOG(VM_LOG_MODULE_ALERTS, LOG_ERR, "Cannot read %s: %s", path.c_str(), vmFileStatusText(status));
  }
  return content;
}

bool FirstWord(const std::string& text, std::string& word) {
  const size_t start = text.find_first_not_of(' ');
  if (start == std::string::npos) return false;
  const size_t end = text.find(' ', start);
  word = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
  return true;
}

}  // namespace peripherals
