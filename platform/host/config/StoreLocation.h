// Where the configuration database lives, and whether that place is private.
//
// A database (and the device key beside it) in a folder that someone else
// owns or may write is someone else's: they could plant the key, the
// database or links to other files. So the folder is checked when the
// database is opened and the key when it is read, and there is no shared
// fallback location when the environment names none.
#ifndef DEVMGMT_PLATFORM_HOST_CONFIG_STORELOCATION_H_
#define DEVMGMT_PLATFORM_HOST_CONFIG_STORELOCATION_H_

#include <sys/stat.h>

#include <string>

namespace dmcfg {

// VM_CFG_DB, else $XDG_STATE_HOME/devmgmt/config.db, else
// $HOME/.local/state/devmgmt/config.db; "" when none of them is set.
std::string EnvironmentDatabasePath();

// Creates the folder of `database_path` (and its parents, mode 0700) when
// `create`, then accepts it only when it is a real folder owned by this user
// (or root) that neither group nor others may write. A refusal is logged
// with the path and the fix. An empty path is refused too.
bool CheckDatabaseFolder(const std::string& database_path, bool create);

// True when `info` (of the file at `path`) is owned by this user (or root)
// and gives group and others no access; otherwise logs a refusal naming the
// path and the fix. For files that hold secrets.
bool CheckPrivateFile(const struct stat& info, const std::string& path);

}  // namespace dmcfg

#endif  // DEVMGMT_PLATFORM_HOST_CONFIG_STORELOCATION_H_
