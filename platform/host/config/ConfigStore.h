// The SQLite file behind the configuration database (host platform only).
//
// One connection per process, opened on first use and re-opened in a forked
// child. Every write is one transaction that also appends the path to the
// change journal that ConfigManager reads. Calls are serialised by a mutex:
// the platform's delivery thread may read while the program writes.
#ifndef DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGSTORE_H_
#define DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGSTORE_H_

#include <sys/types.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace dmcfg {

struct JournalEntry {
  int64_t seq;
  std::string path;
};

class ConfigStore {
 public:
  static ConfigStore& Instance();

  // VM_CFG_OK with the value, VM_CFG_NOT_FOUND when no row, VM_CFG_ERROR.
  int Get(const std::string& path, std::string* value);
  int Set(const std::string& path, const std::string& value);
  // Removes the row and journals the path, in one transaction;
  // VM_CFG_NOT_FOUND when there is no row.
  int Delete(const std::string& path);
  // Up to `limit` stored entries under `prefix` whose paths sort after
  // `after` (or at it when `inclusive`), in path order, appended to
  // `entries`; VM_CFG_NOT_FOUND when there is none.
  int Next(const std::string& prefix, const std::string& after, bool inclusive, size_t limit,
           std::vector<std::pair<std::string, std::string>>* entries);

  // Journal entries after `after_seq`, oldest first, at most `limit`.
  // `first_kept` receives the oldest sequence number still in the journal
  // (0 when it is empty), so a reader can tell that it fell behind.
  int ReadJournal(int64_t after_seq, size_t limit, std::vector<JournalEntry>* entries,
                  int64_t* first_kept);
  // The newest sequence number (0 for an empty journal).
  int LatestSeq(int64_t* seq);

  int UseDatabase(const char* path);
  std::string DatabasePath();

  // Journal rows kept after pruning.
  static constexpr int64_t kJournalKeep = 4096;

 private:
  ConfigStore() = default;
  bool EnsureOpenLocked();
  void CloseLocked();
  bool OpenLocked(const std::string& path);
  sqlite3_stmt* Prepare(const char* sql);
  void ResetOnFailure(int rc);

  std::mutex m_mutex;
  sqlite3* m_db = nullptr;
  pid_t m_pid = 0;
  std::string m_path;  // empty: decided by the environment at open
  sqlite3_stmt* m_begin = nullptr;
  sqlite3_stmt* m_commit = nullptr;
  sqlite3_stmt* m_get = nullptr;
  sqlite3_stmt* m_upsert = nullptr;
  sqlite3_stmt* m_journal = nullptr;
  sqlite3_stmt* m_prune = nullptr;
  sqlite3_stmt* m_next = nullptr;
  sqlite3_stmt* m_next_unbounded = nullptr;
  sqlite3_stmt* m_read_journal = nullptr;
  sqlite3_stmt* m_first_kept = nullptr;
  sqlite3_stmt* m_latest = nullptr;
  std::vector<sqlite3_stmt*> m_statements;
};

// The database file chosen by the environment (VM_CFG_DB, else the default
// under the user's state directory).
std::string DefaultDatabasePath();

// The (path, value) pairs that seed a new database: a believable device.
std::vector<std::pair<std::string, std::string>> DefaultProfile(const std::string& database_path);

// Runs `sql` statements that return no rows; false (and a log line) on failure.
bool Exec(sqlite3* db, const char* sql);

}  // namespace dmcfg

#endif  // DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGSTORE_H_
