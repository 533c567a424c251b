#include "platform/vmFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr size_t kReadChunk = 64 * 1024;

vmFileStatus StatusOfErrno(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return VM_FILE_MISSING;
    case ELOOP:
      return VM_FILE_LINK;
    default:
      return VM_FILE_ERROR;
  }
}

void CloseKeepingErrno(int fd) {
  const int saved = errno;
  close(fd);
  errno = saved;
}

// The folder part of a path ("." for a bare name) and its last component.
void SplitPath(const std::string& path, std::string* folder, std::string* base) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    *folder = ".";
    *base = path;
  } else {
    *folder = slash == 0 ? "/" : path.substr(0, slash);
    *base = path.substr(slash + 1);
  }
}

bool WriteAll(int fd, const unsigned char* data, size_t size) {
  while (size > 0) {
    const ssize_t put = write(fd, data, size);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    data += put;
    size -= static_cast<size_t>(put);
  }
  return true;
}

}  // namespace

int vmFileOpenInput(const char* path, unsigned options, size_t cap, vmFileStatus* status) {
  vmFileStatus ignored = VM_FILE_OK;
  if (status == nullptr) status = &ignored;
  if (path == nullptr || *path == '\0') {
    *status = VM_FILE_MISSING;
    errno = ENOENT;
    return -1;
  }
  // O_NONBLOCK: opening a FIFO with no writer, or some devices, would wait.
  int flags = O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  if ((options & VM_FILE_NOFOLLOW) != 0) flags |= O_NOFOLLOW;
  const int fd = open(path, flags);
  if (fd < 0) {
    *status = StatusOfErrno(errno);
    return -1;
  }
  struct stat info;
  if (fstat(fd, &info) != 0) {
    *status = VM_FILE_ERROR;
    CloseKeepingErrno(fd);
    return -1;
  }
  if (!S_ISREG(info.st_mode)) {
    *status = VM_FILE_NOT_REGULAR;
    close(fd);
    errno = EINVAL;
    return -1;
  }
  if (cap > 0 && static_cast<unsigned long long>(info.st_size) > cap) {
    *status = VM_FILE_TOO_LARGE;
    close(fd);
    errno = EFBIG;
    return -1;
  }
  // Regular files ignore O_NONBLOCK; clear it anyway so that stdio and
  // OpenSSL on the descriptor see an ordinary file.
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  *status = VM_FILE_OK;
  return fd;
}

vmFileStatus vmFileRead(const char* path, size_t cap, unsigned options, std::string* out) {
  out->clear();
  vmFileStatus status = VM_FILE_OK;
  const int fd = vmFileOpenInput(path, options, cap, &status);
  if (fd < 0) return status;
  // The size seen by fstat may be stale (a file still being written, a
  // /proc file showing 0): read until the end, never past cap + 1 bytes.
  std::unique_ptr<char[]> chunk(new char[kReadChunk]);
  for (;;) {
    const size_t room = cap + 1 - out->size();
    const ssize_t got = read(fd, chunk.get(), room < kReadChunk ? room : kReadChunk);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      status = VM_FILE_ERROR;
      break;
    }
    if (got == 0) break;
    out->append(chunk.get(), static_cast<size_t>(got));
    if (out->size() > cap) {
      status = VM_FILE_TOO_LARGE;
      break;
    }
  }
  CloseKeepingErrno(fd);
  if (status != VM_FILE_OK) {
    out->clear();
    out->shrink_to_fit();
  }
  return status;
}

const char* vmFileStatusText(vmFileStatus status) {
  switch (status) {
    case VM_FILE_OK:
      return "ok";
    case VM_FILE_MISSING:
      return "no such file";
    case VM_FILE_LINK:
      return "a symbolic link";
    case VM_FILE_NOT_REGULAR:
      return "not a regular file";
    case VM_FILE_TOO_LARGE:
      return "too large";
    case VM_FILE_ERROR:
      break;
  }
  return "cannot be read";
}

int vmFileCreateTemporary(const char* target, std::string* temporary) {
  if (target == nullptr || *target == '\0' || temporary == nullptr) {
    errno = EINVAL;
    return -1;
  }
  std::string folder;
  std::string base;
  SplitPath(target, &folder, &base);
  if (base.empty()) {
    errno = EISDIR;
    return -1;
  }
  // mkstemp: O_CREAT|O_EXCL under an unpredictable name, mode 0600.
  std::string pattern = folder + "/." + base + ".XXXXXX";
  const int fd = mkostemp(&pattern[0], O_CLOEXEC);
  if (fd < 0) return -1;
  *temporary = pattern;
  return fd;
}

int vmFileCommit(int fd, const std::string& temporary, const char* target, mode_t mode, unsigned options) {
  bool ok = fchmod(fd, mode) == 0 && ((options & VM_FILE_DURABLE) == 0 || fsync(fd) == 0);
  int error = errno;
  if (close(fd) != 0 && ok) {
    ok = false;
    error = errno;
  }
  if (ok) {
    if ((options & VM_FILE_KEEP_EXISTING) != 0) {
      // link() never replaces, and a link already at the target counts as existing.
      ok = link(temporary.c_str(), target) == 0;
    } else {
      ok = rename(temporary.c_str(), target) == 0;
    }
    error = errno;
  }
  if (!ok || (options & VM_FILE_KEEP_EXISTING) != 0) unlink(temporary.c_str());
  errno = error;
  return ok ? 0 : -1;
}

void vmFileAbandon(int fd, const std::string& temporary) {
  const int saved = errno;
  if (fd >= 0) close(fd);
  unlink(temporary.c_str());
  errno = saved;
}

int vmFileWrite(const char* target, const void* data, size_t size, mode_t mode, unsigned options) {
  std::string temporary;
  const int fd = vmFileCreateTemporary(target, &temporary);
  if (fd < 0) return -1;
  if (!WriteAll(fd, static_cast<const unsigned char*>(data), size)) {
    vmFileAbandon(fd, temporary);
    return -1;
  }
  return vmFileCommit(fd, temporary, target, mode, options);
}
