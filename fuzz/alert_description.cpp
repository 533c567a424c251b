// Alarm descriptions with [AIn] placeholders and the comma-separated values
// that fill them, both from the raising process. Input: description, a NUL,
// values. Must end (values may themselves hold placeholders).
#include <cstring>
#include <string>

#include "alerts/AlertManager.h"
#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  const void* nul = std::memchr(data, 0, size);
  const size_t split = nul ? static_cast<size_t>(static_cast<const uint8_t*>(nul) - data) : size;
  const std::string description(text, split);
  const std::string values = split < size ? std::string(text + split + 1, size - split - 1) : std::string();
  const std::string built = AlertManager::BuildAlertDescription(description, values);
  if (values.empty()) FUZZ_CHECK(built == description);
  // A description whose only brackets are those of one [AI1], filled with
  // values that hold none, keeps no [AI1]. (With more brackets, filling a
  // later placeholder may form an [AI1] after the first was handled, and the
  // rule does not go back: "Link$[AI1]HA[[AI3]AI1])" with "e,,,".)
  const size_t first = description.find("[AI1]");
  if (!values.empty() && values.find_first_of("[]") == std::string::npos && first != std::string::npos &&
      description.find_first_of("[]") == first && description.find_last_of("[]") == first + 4) {
    FUZZ_CHECK(built.find("[AI1]") == std::string::npos);
  }
  return 0;
}
