#include "platform/vmUtils.h"

#include <openssl/evp.h>

#include <cctype>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

extern "C" int base64_encode(const unsigned char* in, int length, char* out) {
  if (out == nullptr || length < 0 || (in == nullptr && length > 0)) return -1;
  if (length > (INT_MAX / 4) * 3 - 3) return -1;
  return EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out), in, length);
}

extern "C" int base64_decode(const char* in, int length, unsigned char* out) {
  if (length == 0) return 0;
  if (out == nullptr || length < 0 || in == nullptr) return -1;
  // OpenSSL's block decoder wants whole 4-character groups without white
  // space, so drop line breaks and restore any missing padding first.
  std::string text;
  text.reserve(static_cast<size_t>(length) + 3);
  int padding = 0;
  for (int i = 0; i < length; ++i) {
    const unsigned char c = static_cast<unsigned char>(in[i]);
    if (std::isspace(c)) continue;
    if (c == '=') {
      ++padding;
    } else if (padding > 0 || !(std::isalnum(c) || c == '+' || c == '/')) {
      return -1;  // a character outside the alphabet, or data after padding
    }
    text.push_back(static_cast<char>(c));
  }
  if (padding > 2 || text.size() % 4 == 1 || (padding > 0 && text.size() % 4 != 0)) return -1;
  while (text.size() % 4 != 0) {
    text.push_back('=');
    ++padding;
  }
  if (text.empty()) return 0;
  // The block decoder writes the padded groups whole; decode aside and copy
  // only the real bytes, which fit the caller's length * 3 / 4.
  std::vector<unsigned char> decoded(text.size() / 4 * 3);
  const int written = EVP_DecodeBlock(decoded.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                      static_cast<int>(text.size()));
  if (written < padding) return -1;
  const int total = written - padding;
  std::memcpy(out, decoded.data(), static_cast<size_t>(total));
  return total;
}

std::string strTrim(const std::string& text) {
  static const char kBlank[] = " \t\r\n\f\v";
  const size_t first = text.find_first_not_of(kBlank);
  if (first == std::string::npos) return std::string();
  const size_t last = text.find_last_not_of(kBlank);
  return text.substr(first, last - first + 1);
}

std::string GetFileNameFromUrl(const std::string& url) {
  const std::string path = url.substr(0, url.find_first_of("?#"));
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

namespace {

// Position of the suffix dot in the file-name part of `path`, or npos.
size_t SuffixDot(const std::string& path) {
  const size_t slash = path.rfind('/');
  const size_t name_start = slash == std::string::npos ? 0 : slash + 1;
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos || dot <= name_start || dot + 1 == path.size()) {
    return std::string::npos;
  }
  return dot;
}

}  // namespace

std::string GetFileNamePrefix(const std::string& name) {
  const size_t dot = SuffixDot(name);
  return dot == std::string::npos ? name : name.substr(0, dot);
}

std::string GetFileNameSuffix(const std::string& name) {
  const size_t dot = SuffixDot(name);
  return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

std::string SwitchFilenameSuffix(const std::string& path, const std::string& new_suffix) {
  return GetFileNamePrefix(path) + new_suffix;
}

std::string IntToString(int value) { return std::to_string(value); }
