#include "tools/dmctl/Files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "tools/dmctl/Cli.h"

namespace dmctl {

std::string ReadInputFile(const std::string& path, int64_t limit) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Failure("cannot read " + path + ": " + std::strerror(errno));
  std::string data;
  char chunk[65536];
  while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
    data.append(chunk, static_cast<size_t>(in.gcount()));
    if (static_cast<int64_t>(data.size()) > limit) {
      throw Failure(path + " is larger than " + std::to_string(limit) + " bytes");
    }
  }
  return data;
}

void WriteOutputFile(const std::string& path, const std::string& data) {
  const std::string temporary = path + ".dmctl-tmp";
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd < 0) throw Failure("cannot create " + temporary + ": " + std::strerror(errno));
  size_t done = 0;
  while (done < data.size()) {
    const ssize_t n = write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  const int saved = errno;
  const bool ok = done == data.size() && fsync(fd) == 0;
  close(fd);
  if (!ok || rename(temporary.c_str(), path.c_str()) != 0) {
    const std::string reason = std::strerror(ok ? errno : saved);
    unlink(temporary.c_str());
    throw Failure("cannot write " + path + ": " + reason);
  }
}

}  // namespace dmctl
