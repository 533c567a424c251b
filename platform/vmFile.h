// Files that come from outside or that the platform and library write.
//
// Inputs (certificates, signed files, JSON documents) may be a FIFO, a
// device or a huge file planted by someone else; outputs may sit in a folder
// where someone else planted links. So every input is opened non-blocking,
// taken only when it is a regular file and read up to a cap for its kind,
// and every output is written to a fresh file made exclusively beside its
// target, given its mode explicitly (whatever the umask) and renamed into
// place: the target name is never opened, so a link planted there is
// replaced, not followed.
#ifndef DEVMGMT_PLATFORM_VMFILE_H_
#define DEVMGMT_PLATFORM_VMFILE_H_

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "DmExport.h"

// Caps, in bytes, of what is read whole. Each is far above any honest file
// of its kind and small enough that a refused file costs no memory.
constexpr size_t VM_FILE_CAP_SIGNATURE = 64 * 1024;     // base64 signature text
constexpr size_t VM_FILE_CAP_CERTIFICATE = 256 * 1024;  // one certificate, PEM or DER
constexpr size_t VM_FILE_CAP_JSON = 1024 * 1024;        // filter and release documents
constexpr size_t VM_FILE_CAP_KEY = 4096;                // the device key

enum vmFileStatus {
  VM_FILE_OK = 0,
  VM_FILE_MISSING,      // no such file (or a path component is missing)
  VM_FILE_LINK,         // a symbolic link where none is allowed
  VM_FILE_NOT_REGULAR,  // a FIFO, device, socket or directory
  VM_FILE_TOO_LARGE,    // more bytes than the cap
  VM_FILE_ERROR,        // any other failure (errno-based, see vmFileStatusText)
};

// Options of vmFileOpenInput and vmFileRead.
constexpr unsigned VM_FILE_NOFOLLOW = 1u;  // refuse a symbolic link as the last component

// Opens `path` read-only, non-blocking and close-on-exec, and keeps it only
// when it is a regular file no larger than `cap` (0: no cap, for files that
// are streamed). Returns the descriptor, or -1 with `*status` saying why.
DM_EXPORT int vmFileOpenInput(const char* path, unsigned options, size_t cap, vmFileStatus* status);

// Reads a whole regular file of at most `cap` (> 0) bytes into `out`
// (emptied on failure). The file is read in chunks and never past cap + 1 bytes, so a
// file that grows while read is refused too.
DM_EXPORT vmFileStatus vmFileRead(const char* path, size_t cap, unsigned options, std::string* out);

// A short English reason for a status ("not a regular file", ...).
DM_EXPORT const char* vmFileStatusText(vmFileStatus status);

// Makes a new empty file beside `target` (same folder, name ".<base>.XXXXXX",
// O_EXCL, mode 0600) and returns its descriptor with its name in `*temporary`,
// or -1 (errno set). Finish with vmFileCommit or vmFileAbandon.
DM_EXPORT int vmFileCreateTemporary(const char* target, std::string* temporary);

// Options of vmFileCommit and vmFileWrite.
constexpr unsigned VM_FILE_KEEP_EXISTING = 1u;  // publish only when `target` does not exist yet
constexpr unsigned VM_FILE_DURABLE = 2u;        // fsync before publishing (costs milliseconds)

// Gives the temporary file `mode`, flushes it to disk when asked, closes it
// and renames it to `target` (or, with VM_FILE_KEEP_EXISTING, links it there, failing
// with EEXIST when the target exists). The temporary name is gone afterwards
// whatever happens. 0 on success, -1 with errno.
DM_EXPORT int vmFileCommit(int fd, const std::string& temporary, const char* target, mode_t mode,
                           unsigned options);

// Closes and removes a temporary file that is not wanted.
DM_EXPORT void vmFileAbandon(int fd, const std::string& temporary);

// Creates or replaces `target` with `size` bytes of `data`, through the
// three calls above. 0 on success, -1 with errno (the target is then as it was).
DM_EXPORT int vmFileWrite(const char* target, const void* data, size_t size, mode_t mode, unsigned options);

#endif  // DEVMGMT_PLATFORM_VMFILE_H_
