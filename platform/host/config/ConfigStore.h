// The SQLite file behind the configuration database (host platform only).
//
// One connection per process, opened on first use and re-opened in a forked
// child. Every write outside a batch is one transaction that also appends the
// path to the change journal that ConfigManager reads; a batch makes all the
// writes of one thread one transaction. Opening and reading never take the
// write lock, and a read-only file or folder still serves reads. Calls are
// serialised by a mutex, and while one thread holds a batch the other threads
// of the process wait for it: they share its connection.
#ifndef DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGSTORE_H_
#define DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGSTORE_H_

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
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
  // Removes the row and journals the path, in one transaction (or in this
  // thread's batch); VM_CFG_NOT_FOUND when there is no row.
  int Delete(const std::string& path);
  // Up to `limit` stored entries under `prefix` whose paths sort after
  // `after` (or at it when `inclusive`), in path order, appended to
  // `entries` (with empty values unless `values`); VM_CFG_NOT_FOUND when
  // there is none.
  int Next(const std::string& prefix, const std::string& after, bool inclusive, bool values, size_t limit,
           std::vector<std::pair<std::string, std::string>>* entries);

  // Journal entries after `after_seq`, oldest first, from at most `limit`
  // rows (a write outside a batch is one row, a batch one row of all its
  // paths, so several entries may share a sequence number).
  // `first_kept` receives the oldest sequence number still in the journal
  // (0 when it is empty), so a reader can tell that it fell behind.
  int ReadJournal(int64_t after_seq, size_t limit, std::vector<JournalEntry>* entries,
                  int64_t* first_kept);
  // The newest sequence number (0 for an empty journal).
  int LatestSeq(int64_t* seq);

  // Write batches (vmCfgBatchBegin/Commit/Rollback): per thread, nestable;
  // only the outermost commit commits, and a rollback at any depth dooms the
  // whole batch (its outermost commit then rolls back and fails).
  int BatchBegin();
  int BatchCommit();
  int BatchRollback();
  bool InBatchOnThisThread();

  // Fails (VM_CFG_ERROR) while this thread holds a batch.
  int UseDatabase(const char* path);
  std::string DatabasePath();

  // Journal rows kept after pruning.
  static constexpr int64_t kJournalKeep = 4096;


 private:
  ConfigStore() = default;
  // Takes the mutex once no other thread of this process holds a batch.
  std::unique_lock<std::mutex> Acquire();
  bool EnsureOpenLocked();
  void CloseLocked();
  bool OpenLocked(const std::string& path);
  bool OpenConnection(const std::string& path, bool immutable);
  bool CreateTablesLocked(const std::string& path);
  sqlite3_stmt* Prepare(const char* sql);
  // After a failure that means the file was damaged or replaced: the
  // connection is closed at the start of the next call (never while one of
  // its statements is in use) and the running batch, if any, is doomed.
  void NoteFailure(int rc);
  // Whether a failure line of this kind may be logged now: the same failure
  // repeated within a short time is not logged again (no floods).
  bool ShouldLog(const char* kind, int rc);
  void EndBatchLocked();
  // Steps `change` (an upsert or a delete of `path`, bound by the caller) as
  // its own transaction with its journal row, or within this thread's batch.
  // VM_CFG_NOT_FOUND when it changed no row; failures are logged as
  // "Cannot <verb> <path>".
  int ChangeLocked(const std::string& path, sqlite3_stmt* change, const char* verb);
  // Writes the journal of the batch's writes: one row holding all their
  // paths costs far less than a row per write.
  int FlushJournalLocked();

  std::mutex m_mutex;
  std::condition_variable m_batchEnded;
  sqlite3* m_db = nullptr;
  bool m_readOnly = false;
  bool m_broken = false;
  std::string m_path;  // empty: decided by the environment at open
  int m_batchDepth = 0;
  bool m_batchDoomed = false;
  std::thread::id m_batchOwner;
  std::vector<std::string> m_batchPaths;  // journal rows still to write
  bool m_forked = false;  // set in a forked child: the connection is the parent's
  std::string m_lastFailure;
  time_t m_lastFailureAt = 0;
  sqlite3_stmt* m_begin = nullptr;
  sqlite3_stmt* m_commit = nullptr;
  sqlite3_stmt* m_rollback = nullptr;
  sqlite3_stmt* m_get = nullptr;
  sqlite3_stmt* m_upsert = nullptr;
  sqlite3_stmt* m_delete = nullptr;
  sqlite3_stmt* m_journal = nullptr;
  sqlite3_stmt* m_prune = nullptr;
  // The walk's statement for reading values or paths alone, with or without
  // an upper bound; prepared on first use. Needs the lock held.
  sqlite3_stmt* WalkStatementLocked(bool values, bool bounded);
  sqlite3_stmt* m_next = nullptr;
  sqlite3_stmt* m_next_unbounded = nullptr;
  sqlite3_stmt* m_next_paths = nullptr;
  sqlite3_stmt* m_next_paths_unbounded = nullptr;
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

// Runs the change delivery that a thread asked for while it held a batch
// (ConfigManager), once the batch has ended.
void DispatchDeferredChanges();

}  // namespace dmcfg

#endif  // DEVMGMT_PLATFORM_HOST_CONFIG_CONFIGSTORE_H_
