#include "platform/host/config/StoreLocation.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/vmLog.h"

namespace dmcfg {
namespace {

bool TrustedOwner(uid_t owner) { return owner == geteuid() || owner == 0; }

// mkdir -p; new folders are private to the user.
bool MakeDirectories(const std::string& folder) {
  size_t slash = 0;
  do {
    slash = folder.find('/', slash + 1);
    const std::string part = folder.substr(0, slash);
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot create %s: %s", part.c_str(), std::strerror(errno));
      return false;
    }
  } while (slash != std::string::npos);
  return true;
}

}  // namespace

std::string EnvironmentDatabasePath() {
  if (const char* path = std::getenv("VM_CFG_DB"); path && *path != '\0') return path;
  if (const char* state = std::getenv("XDG_STATE_HOME"); state && *state == '/') {
    return std::string(state) + "/devmgmt/config.db";
  }
  if (const char* home = std::getenv("HOME"); home && *home == '/') {
    return std::string(home) + "/.local/state/devmgmt/config.db";
  }
  return std::string();
}

bool CheckDatabaseFolder(const std::string& database_path, bool create) {
  if (database_path.empty()) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR,
           "No configuration database: set VM_CFG_DB, XDG_STATE_HOME or HOME");
    return false;
  }
  const size_t slash = database_path.rfind('/');
  const std::string folder =
      slash == std::string::npos ? std::string(".") : slash == 0 ? std::string("/") : database_path.substr(0, slash);
  if (create && !MakeDirectories(folder)) return false;
  struct stat info;
  if (lstat(folder.c_str(), &info) != 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot use the database folder %s: %s", folder.c_str(),
           std::strerror(errno));
    return false;
  }
  if (!S_ISDIR(info.st_mode)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR,
           "Database folder %s is not a folder (a link?): point VM_CFG_DB into a folder of your own",
           folder.c_str());
    return false;
  }
  if (!TrustedOwner(info.st_uid) || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR,
           "Database folder %s (owner %u, mode %03o) may be changed by others: it must be yours "
           "with mode 0700 (chown/chmod it, or point VM_CFG_DB elsewhere)",
           folder.c_str(), static_cast<unsigned>(info.st_uid), static_cast<unsigned>(info.st_mode & 07777));
    return false;
  }
  return true;
}

bool CheckPrivateFile(const struct stat& info, const std::string& path) {
  if (TrustedOwner(info.st_uid) && (info.st_mode & (S_IRWXG | S_IRWXO)) == 0) return true;
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR,
         "%s (owner %u, mode %03o) is open to others: it must be yours with mode 0600 "
         "(chown/chmod it, or remove it to make a new one)",
         path.c_str(), static_cast<unsigned>(info.st_uid), static_cast<unsigned>(info.st_mode & 07777));
  return false;
}

}  // namespace dmcfg
