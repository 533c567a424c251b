// Small text and file-name utilities of the platform.
//
// File-name functions look at the last '/'-separated part only and treat its
// last '.' as the start of the suffix, so "fw.v1.tar.gz" has prefix
// "fw.v1.tar" and suffix "gz". A leading dot does not start a suffix
// (".profile" has none), and neither does a trailing one ("name." has prefix
// "name." and no suffix).
#ifndef DEVMGMT_PLATFORM_VMUTILS_H_
#define DEVMGMT_PLATFORM_VMUTILS_H_

#include <string>

#include "DmExport.h"

extern "C" {

// Writes the standard base64 text of `length` bytes, NUL-terminated, into
// `out`, which must hold 4 * ((length + 2) / 3) + 1 bytes. Returns the text
// length, or -1 for invalid arguments.
DM_EXPORT int base64_encode(const unsigned char* in, int length, char* out);

// Decodes `length` characters of base64 text into `out`, which must hold
// length * 3 / 4 bytes. Line breaks and other white space are skipped;
// padding is optional, but only allowed at the very end. Returns the bytes
// written, or -1 when the text is not base64.
DM_EXPORT int base64_decode(const char* in, int length, unsigned char* out);

}  // extern "C"

// The text without leading and trailing white space (" \t\r\n\f\v").
DM_EXPORT std::string strTrim(const std::string& text);

// The file name of a URL: what follows the last '/', without any "?query" or
// "#fragment"; "" when the URL ends with '/'.
DM_EXPORT std::string GetFileNameFromUrl(const std::string& url);

// The file name without its suffix and dot ("hs_fw_v1.zip" -> "hs_fw_v1").
DM_EXPORT std::string GetFileNamePrefix(const std::string& name);

// The suffix without its dot ("fw.bin" -> "bin"); "" when there is none.
DM_EXPORT std::string GetFileNameSuffix(const std::string& name);

// Replaces the suffix of the path's file name, dot included, with
// `new_suffix` (which carries its own dot): ("/tmp/2_fw.zip", ".release.json")
// -> "/tmp/2_fw.release.json". A name without suffix gets it appended.
DM_EXPORT std::string SwitchFilenameSuffix(const std::string& path, const std::string& new_suffix);

DM_EXPORT std::string IntToString(int value);

#endif  // DEVMGMT_PLATFORM_VMUTILS_H_
