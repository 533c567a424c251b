// The status report's synthetic parameters, shared by the report benchmark
// and the footprint program (which must not carry Google Benchmark).
#ifndef DEVMGMT_BENCH_GROUPEDPARAMS_H_
#define DEVMGMT_BENCH_GROUPEDPARAMS_H_

#include <sqlite3.h>

#include <cstdio>
#include <string>

namespace benchresults {

// `groups` groups of `per_group` parameters, named "bench/group/NNN/param/PP".
inline std::string GroupedParamPath(int group, int index) {
  char path[64];
  std::snprintf(path, sizeof path, "bench/group/%03d/param/%02d", group, index);
  return path;
}

// Writes those parameters ("value of <path>") straight into the database
// file in one raw SQLite transaction, so that seeding announces nothing.
inline bool SeedGroupedParams(const char* db_path, int groups, int per_group) {
  sqlite3* db = nullptr;
  if (db_path == nullptr || sqlite3_open(db_path, &db) != SQLITE_OK) {
    sqlite3_close(db);
    return false;
  }
  sqlite3_busy_timeout(db, 5000);
  sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT OR REPLACE INTO params(path, value) VALUES(?1, ?2)", -1, &insert, nullptr);
  for (int g = 0; g < groups; ++g) {
    for (int p = 0; p < per_group; ++p) {
      const std::string path = GroupedParamPath(g, p);
      const std::string value = "value of " + path;
      sqlite3_bind_text(insert, 1, path.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_bind_text(insert, 2, value.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
  }
  sqlite3_finalize(insert);
  const bool committed = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
  // Settings are written long before a report reads them: the load is folded
  // into the database file, as SQLite's checkpoint does in service, instead
  // of being left in the write-ahead log.
  sqlite3_wal_checkpoint_v2(db, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  sqlite3_close(db);
  return committed;
}

}  // namespace benchresults

#endif  // DEVMGMT_BENCH_GROUPEDPARAMS_H_
