// Hex decoding of identifiers: a decode that succeeds must encode back to
// the same digits (in lower case), and never write past `size` bytes.
#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "ems/EmsAuthorization.h"
#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const size_t capacity = data[0] % 40;
  // The decoder reads a C string: up to the first NUL.
  const std::string text(reinterpret_cast<const char*>(data + 1), strnlen(reinterpret_cast<const char*>(data + 1), size - 1));
  // Guard bytes after the output catch writes past `capacity`.
  std::vector<unsigned char> out(capacity + 8, 0xA5);
  const bool ok = DecodeHex(text.c_str(), out.data(), capacity);
  for (size_t i = capacity; i < out.size(); ++i) FUZZ_CHECK(out[i] == 0xA5);
  if (ok) {
    std::string lower;
    for (char c : text) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    FUZZ_CHECK(EncodeHex(out.data(), capacity) == lower);
  }
  for (char c : text) {
    unsigned char digit = 0x5A;
    if (!DecodeHex(c, digit)) FUZZ_CHECK(digit == 0x5A);
    else FUZZ_CHECK(digit < 16);
  }
  return 0;
}
