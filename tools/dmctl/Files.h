// The files dmctl reads (bounded) and writes (whole or not at all).
#ifndef DEVMGMT_TOOLS_DMCTL_FILES_H_
#define DEVMGMT_TOOLS_DMCTL_FILES_H_

#include <cstdint>
#include <string>

namespace dmctl {

// The whole file; Failure when it cannot be read or is larger than `limit`.
std::string ReadInputFile(const std::string& path, int64_t limit);

// Every file dmctl writes goes through here: a new temporary file beside the
// target, renamed over it once complete, so a failure leaves the old file.
void WriteOutputFile(const std::string& path, const std::string& data);

}  // namespace dmctl

#endif  // DEVMGMT_TOOLS_DMCTL_FILES_H_
