// Upload entries and URL completion: the first two bytes choose the part of
// the line the parser is given (including ranges past its end).
#include <string>

#include "ems/EMSFsUtility.h"
#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const unsigned start = data[0] % 64, end = data[1] == 0xff ? 0xffffffffu : data[1];
  const std::string line(reinterpret_cast<const char*>(data + 2), size - 2);

  std::string filePath = "unset", url = "unset";
  bool deleteAfterUpload = false;
  if (EMSFsUtility::GetFilePathAndUrl(line, start, end, filePath, url, deleteAfterUpload)) {
    FUZZ_CHECK(!url.empty());
    EMSFsUtility::GetFullUrl(url);
    FUZZ_CHECK(!url.empty());
  } else {
    FUZZ_CHECK(filePath == "unset" && url == "unset");
  }
  std::string raw = line;
  EMSFsUtility::GetFullUrl(raw);
  return 0;
}
