#include "peripherals/PeripheralUtils.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/vmCfg.h"

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
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::string();
  std::ostringstream content;
  content << file.rdbuf();
  return file.bad() ? std::string() : content.str();
}

bool FirstWord(const std::string& text, std::string& word) {
  const size_t start = text.find_first_not_of(' ');
  if (start == std::string::npos) return false;
  const size_t end = text.find(' ', start);
  word = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
  return true;
}

}  // namespace peripherals
