// Reads of the configuration database for tests: through the library, and
// as another process sees it (one statement on a connection of its own).
#ifndef DEVMGMT_TESTS_PLATFORM_CONFIG_CONFIGREADS_H_
#define DEVMGMT_TESTS_PLATFORM_CONFIG_CONFIGREADS_H_

#include <sqlite3.h>

#include <string>

#include "platform/vmCfg.h"

// The value at `path`, or "<rc>" with the library's return code.
inline std::string Read(const char* path) {
  char value[512];
  const int rc = vmCfgGetParam(path, value, sizeof value);
  return rc == VM_CFG_OK ? std::string(value) : "<" + std::to_string(rc) + ">";
}

// The first column of the last row `sql` gives, "<none>" without rows, or
// "<error>" when the statement fails. It waits up to 5 s for a writer's lock.
inline std::string RawSql(const std::string& database, const std::string& sql) {
  sqlite3* db = nullptr;
  std::string out = "<none>";
  auto keep = [](void* o, int, char** v, char**) { return *static_cast<std::string*>(o) = v[0] ? v[0] : "", 0; };
  if (sqlite3_open(database.c_str(), &db) != SQLITE_OK || sqlite3_busy_timeout(db, 5000) != SQLITE_OK ||
      sqlite3_exec(db, sql.c_str(), keep, &out, nullptr) != SQLITE_OK) {
    out = "<error>";
  }
  sqlite3_close(db);
  return out;
}

#endif  // DEVMGMT_TESTS_PLATFORM_CONFIG_CONFIGREADS_H_
