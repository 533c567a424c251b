// Small helpers shared by the peripheral units (not exported).
#ifndef DEVMGMT_PERIPHERALS_PERIPHERALUTILS_H_
#define DEVMGMT_PERIPHERALS_PERIPHERALUTILS_H_

#include <string>

namespace peripherals {

// The enumerations whose names are the peripheral types and interfaces.
constexpr const char kTypeEnumPath[] = "status/peripheral/device/0/type";
constexpr const char kHwTypeEnumPath[] = "status/peripheral/device/0/hw_type";

// ASCII case folding; bytes above 127 (UTF-8) are left as they are.
std::string ToUpper(const std::string& text);
bool EqualsIgnoreCase(const std::string& a, const std::string& b);
bool ContainsIgnoreCase(const std::string& haystack, const std::string& needle);

// The value of `text` in the enumeration of the schema parameter `path`;
// negative when it is not one of its names (case-sensitive).
int EnumValue(const char* path, const std::string& text);

// The whole content of a JSON document file; a file that cannot be read
// gives "". A file that is not a regular file or is larger than
// VM_FILE_CAP_JSON is refused with one error line (a missing one silently).
std::string ReadFileText(const std::string& path);

// The first non-empty blank-separated word of `text`; false when none.
bool FirstWord(const std::string& text, std::string& word);

}  // namespace peripherals

#endif  // DEVMGMT_PERIPHERALS_PERIPHERALUTILS_H_
