#include "tools/dmctl/Files.h"

#include <cerrno>
#include <cstring>

#include "platform/vmFile.h"
#include "tools/dmctl/Cli.h"

namespace dmctl {

std::string ReadInputFile(const std::string& path, int64_t limit) {
  std::string data;
  const vmFileStatus status = vmFileRead(path.c_str(), static_cast<size_t>(limit), 0, &data);
  if (status == VM_FILE_TOO_LARGE) {
    throw Failure(path + " is larger than " + std::to_string(limit) + " bytes");
  }
  if (status != VM_FILE_OK) throw Failure("cannot read " + path + ": " + vmFileStatusText(status));
  return data;
}

void WriteOutputFile(const std::string& path, const std::string& data) {
  if (vmFileWrite(path.c_str(), data.data(), data.size(), 0644, VM_FILE_DURABLE) != 0) {
    throw Failure("cannot write " + path + ": " + std::strerror(errno));
  }
}

}  // namespace dmctl
