#include "platform/host/config/ConfigStore.h"

#include <fcntl.h>
#include <pthread.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/host/config/StoreLocation.h"
#include "platform/vmCfg.h"
#include "platform/vmLog.h"

namespace dmcfg {
namespace {

constexpr int kDefaultBusyTimeoutMs = 5000;

int BusyTimeoutMs() {
  const char* text = std::getenv("VM_CFG_BUSY_TIMEOUT_MS");
  if (text == nullptr) return kDefaultBusyTimeoutMs;
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  return (end != text && *end == '\0' && value >= 0 && value <= 600000) ? static_cast<int>(value)
                                                                        : kDefaultBusyTimeoutMs;
}

// The smallest text greater than every text that starts with `prefix`, or ""
// when there is none; gives the upper bound of an index range scan.
std::string PrefixEnd(std::string prefix) {
  while (!prefix.empty()) {
    unsigned char last = static_cast<unsigned char>(prefix.back());
    if (last < 0xFF) {
      prefix.back() = static_cast<char>(last + 1);
      return prefix;
    }
    prefix.pop_back();
  }
  return prefix;
}

void BindText(sqlite3_stmt* stmt, int index, const std::string& text) {
  sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

std::string ColumnText(sqlite3_stmt* stmt, int column) {
  const unsigned char* text = sqlite3_column_text(stmt, column);
  const int length = sqlite3_column_bytes(stmt, column);
  return text ? std::string(reinterpret_cast<const char*>(text), static_cast<size_t>(length)) : std::string();
}

// Resets a statement when the scope ends, whatever path returns.
class StatementScope {
 public:
  explicit StatementScope(sqlite3_stmt* stmt) : m_stmt(stmt) {}
  ~StatementScope() {
    sqlite3_reset(m_stmt);
    sqlite3_clear_bindings(m_stmt);
  }
  StatementScope(const StatementScope&) = delete;
  StatementScope& operator=(const StatementScope&) = delete;

 private:
  sqlite3_stmt* m_stmt;
};

}  // namespace

bool Exec(sqlite3* db, const char* sql) {
  char* error = nullptr;
  if (sqlite3_exec(db, sql, nullptr, nullptr, &error) != SQLITE_OK) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Configuration database: %s", error ? error : "failed");
    sqlite3_free(error);
    return false;
  }
  return true;
}

std::string DefaultDatabasePath() { return EnvironmentDatabasePath(); }

ConfigStore& ConfigStore::Instance() {
  // Never destroyed: other static destructors and the delivery thread may
  // still use it while the process exits.
  static ConfigStore* store = [] {
    auto* made = new ConfigStore();
    // A fork while another thread (the delivery thread) holds the mutex would
    // leave the child locked out for ever: hold it across the fork instead.
    pthread_atfork([] { Instance().m_mutex.lock(); }, [] { Instance().m_mutex.unlock(); },
                   [] { Instance().m_mutex.unlock(); });
    return made;
  }();
  return *store;
}

std::string ConfigStore::DatabasePath() {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_path.empty() ? DefaultDatabasePath() : m_path;
}

int ConfigStore::UseDatabase(const char* path) {
  std::lock_guard<std::mutex> lock(m_mutex);
  CloseLocked();
  m_path = path ? path : "";
  return EnsureOpenLocked() ? VM_CFG_OK : VM_CFG_ERROR;
}

void ConfigStore::CloseLocked() {
  for (sqlite3_stmt* stmt : m_statements) sqlite3_finalize(stmt);
  m_statements.clear();
  m_begin = m_commit = m_get = m_upsert = m_journal = m_prune = m_next = m_next_unbounded = nullptr;
  m_read_journal = m_first_kept = m_latest = nullptr;
  if (m_db != nullptr) sqlite3_close(m_db);
  m_db = nullptr;
}

sqlite3_stmt* ConfigStore::Prepare(const char* sql) {
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v3(m_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) != SQLITE_OK) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot prepare statement: %s", sqlite3_errmsg(m_db));
    return nullptr;
  }
  m_statements.push_back(stmt);
  return stmt;
}

bool ConfigStore::EnsureOpenLocked() {
  if (m_db != nullptr && m_pid == getpid()) return true;
  if (m_db != nullptr) {
    // A forked child must not use its parent's connection (its locks belong
    // to the parent); it is abandoned, not closed, and a new one is opened.
    m_db = nullptr;
    m_statements.clear();
  }
  const std::string path = m_path.empty() ? DefaultDatabasePath() : m_path;
  if (!OpenLocked(path)) {
    CloseLocked();
    return false;
  }
  m_pid = getpid();
  return true;
}

bool ConfigStore::OpenLocked(const std::string& path) {
  // The default location is made on first use; a named one must exist.
  if (!CheckDatabaseFolder(path, m_path.empty() && std::getenv("VM_CFG_DB") == nullptr)) return false;
  // Create the file ourselves so that it is private from the first byte;
  // SQLite gives its -wal and -shm files the same mode.
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot open configuration database %s: %s", path.c_str(),
           std::strerror(errno));
    return false;
  }
  close(fd);
  if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) !=
      SQLITE_OK) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot open configuration database %s: %s", path.c_str(),
           m_db ? sqlite3_errmsg(m_db) : "out of memory");
    return false;
  }
  sqlite3_busy_timeout(m_db, BusyTimeoutMs());
  if (!Exec(m_db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;") ||
      !Exec(m_db, "BEGIN IMMEDIATE")) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Configuration database %s is unusable", path.c_str());
    return false;
  }
  sqlite3_stmt* exists = nullptr;
  bool fresh = false;
  if (sqlite3_prepare_v2(m_db, "SELECT 1 FROM sqlite_master WHERE type='table' AND name='params'", -1,
                         &exists, nullptr) == SQLITE_OK) {
    fresh = sqlite3_step(exists) == SQLITE_DONE;
  }
  sqlite3_finalize(exists);
  bool ok = Exec(m_db,
                 "CREATE TABLE IF NOT EXISTS params(path TEXT PRIMARY KEY, value TEXT NOT NULL);"
                 "CREATE TABLE IF NOT EXISTS changes(seq INTEGER PRIMARY KEY, path TEXT NOT NULL);");
  if (ok && fresh) {
    sqlite3_stmt* seed = nullptr;
    ok = sqlite3_prepare_v2(m_db, "INSERT OR REPLACE INTO params(path, value) VALUES(?1, ?2)", -1, &seed,
                            nullptr) == SQLITE_OK;
    for (const auto& entry : DefaultProfile(path)) {
      if (!ok) break;
      BindText(seed, 1, entry.first);
      BindText(seed, 2, entry.second);
      ok = sqlite3_step(seed) == SQLITE_DONE;
      sqlite3_reset(seed);
    }
    sqlite3_finalize(seed);
  }
  if (!ok || !Exec(m_db, "COMMIT")) {
    Exec(m_db, "ROLLBACK");
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot prepare configuration database %s", path.c_str());
    return false;
  }
  if (fresh) DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_NOTICE, "Created configuration database %s", path.c_str());

  // Prepared once: compiling BEGIN and COMMIT on every write costs as much as
  // the write itself.
  m_begin = Prepare("BEGIN IMMEDIATE");
  m_commit = Prepare("COMMIT");
  m_get = Prepare("SELECT value FROM params WHERE path = ?1");
  m_upsert = Prepare(
      "INSERT INTO params(path, value) VALUES(?1, ?2) "
      "ON CONFLICT(path) DO UPDATE SET value = excluded.value");
  m_journal = Prepare("INSERT INTO changes(path) VALUES(?1)");
  m_prune = Prepare("DELETE FROM changes WHERE seq <= ?1");
  m_next = Prepare(
      "SELECT path, value FROM params WHERE path >= ?1 AND path < ?2 AND (path > ?3 OR (?4 AND path = ?3)) "
      "ORDER BY path LIMIT ?5");
  m_next_unbounded = Prepare(
      "SELECT path, value FROM params WHERE path >= ?1 AND (path > ?3 OR (?4 AND path = ?3)) "
      "ORDER BY path LIMIT ?5");
  m_read_journal = Prepare("SELECT seq, path FROM changes WHERE seq > ?1 ORDER BY seq LIMIT ?2");
  m_first_kept = Prepare("SELECT min(seq) FROM changes");
  m_latest = Prepare("SELECT max(seq) FROM changes");
  for (sqlite3_stmt* stmt : {m_begin, m_commit, m_get, m_upsert, m_journal, m_prune, m_next, m_next_unbounded,
                             m_read_journal, m_first_kept, m_latest}) {
    if (stmt == nullptr) return false;
  }
  return true;
}

void ConfigStore::ResetOnFailure(int rc) {
  const int primary = rc & 0xFF;
  // A file that was replaced or damaged under us: open it afresh next time.
  if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || primary == SQLITE_IOERR) CloseLocked();
}

int ConfigStore::Get(const std::string& path, std::string* value) {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  StatementScope scope(m_get);
  BindText(m_get, 1, path);
  const int rc = sqlite3_step(m_get);
  if (rc == SQLITE_ROW) {
    *value = ColumnText(m_get, 0);
    return VM_CFG_OK;
  }
  if (rc == SQLITE_DONE) return VM_CFG_NOT_FOUND;
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot read %s: %s", path.c_str(), sqlite3_errmsg(m_db));
  ResetOnFailure(rc);
  return VM_CFG_ERROR;
}

int ConfigStore::Set(const std::string& path, const std::string& value) {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  int rc;
  {
    StatementScope begin(m_begin);
    rc = sqlite3_step(m_begin);
  }
  if (rc == SQLITE_DONE) {
    StatementScope upsert(m_upsert);
    BindText(m_upsert, 1, path);
    BindText(m_upsert, 2, value);
    rc = sqlite3_step(m_upsert);
  }
  if (rc == SQLITE_DONE) {
    StatementScope journal(m_journal);
    BindText(m_journal, 1, path);
    rc = sqlite3_step(m_journal);
  }
  if (rc == SQLITE_DONE) {
    const int64_t seq = sqlite3_last_insert_rowid(m_db);
    // Pruning now and then keeps the journal short without a cost per write.
    if (seq % 256 == 0 && seq > kJournalKeep) {
      StatementScope prune(m_prune);
      sqlite3_bind_int64(m_prune, 1, seq - kJournalKeep);
      rc = sqlite3_step(m_prune);
    }
  }
  if (rc == SQLITE_DONE) {
    StatementScope commit(m_commit);
    rc = sqlite3_step(m_commit);
  }
  if (rc == SQLITE_DONE) return VM_CFG_OK;
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot write %s: %s", path.c_str(), sqlite3_errmsg(m_db));
  if (!sqlite3_get_autocommit(m_db)) sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
  ResetOnFailure(rc);
  return VM_CFG_ERROR;
}

// Statements prepared per call: deleting is rare, and this keeps it apart
// from the prepared statements of the hot paths.
int ConfigStore::Delete(const std::string& path) {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  const auto step = [this, &path](const char* sql) {
    sqlite3_stmt* stmt = nullptr;
    int rc = sqlite3_prepare_v2(m_db, sql, -1, &stmt, nullptr);
    if (rc == SQLITE_OK) {
      BindText(stmt, 1, path);
      rc = sqlite3_step(stmt);
    }
    sqlite3_finalize(stmt);
    return rc;
  };
  int rc = sqlite3_exec(m_db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK ? SQLITE_DONE : SQLITE_ERROR;
  if (rc == SQLITE_DONE) rc = step("DELETE FROM params WHERE path = ?1");
  if (rc == SQLITE_DONE && sqlite3_changes(m_db) == 0) {
    sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_DEBUG, "No stored value of %s to delete", path.c_str());
    return VM_CFG_NOT_FOUND;
  }
  // Journaled like a write, so that listeners hear of it.
  if (rc == SQLITE_DONE) rc = step("INSERT INTO changes(path) VALUES(?1)");
  if (rc == SQLITE_DONE && sqlite3_exec(m_db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK) return VM_CFG_OK;
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot delete %s: %s", path.c_str(), sqlite3_errmsg(m_db));
  if (!sqlite3_get_autocommit(m_db)) sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
  ResetOnFailure(rc);
  return VM_CFG_ERROR;
}

int ConfigStore::Next(const std::string& prefix, const std::string& after, bool inclusive, size_t limit,
                      std::vector<std::pair<std::string, std::string>>* entries) {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  const std::string end = PrefixEnd(prefix);
  sqlite3_stmt* stmt = end.empty() ? m_next_unbounded : m_next;
  StatementScope scope(stmt);
  BindText(stmt, 1, prefix);
  if (!end.empty()) BindText(stmt, 2, end);
  BindText(stmt, 3, after);
  sqlite3_bind_int(stmt, 4, inclusive ? 1 : 0);
  sqlite3_bind_int64(stmt, 5, static_cast<sqlite3_int64>(limit));
  const size_t before = entries->size();
  int rc;
  while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) entries->emplace_back(ColumnText(stmt, 0), ColumnText(stmt, 1));
  if (rc == SQLITE_DONE) return entries->size() > before ? VM_CFG_OK : VM_CFG_NOT_FOUND;
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot iterate %s: %s", prefix.c_str(), sqlite3_errmsg(m_db));
  ResetOnFailure(rc);
  return VM_CFG_ERROR;
}

int ConfigStore::ReadJournal(int64_t after_seq, size_t limit, std::vector<JournalEntry>* entries,
                             int64_t* first_kept) {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  // One read transaction, so the first kept number and the rows agree.
  if (!Exec(m_db, "BEGIN")) return VM_CFG_ERROR;
  int rc;
  {
    StatementScope scope(m_first_kept);
    rc = sqlite3_step(m_first_kept);
    *first_kept = rc == SQLITE_ROW ? sqlite3_column_int64(m_first_kept, 0) : 0;
  }
  if (rc == SQLITE_ROW) {
    StatementScope scope(m_read_journal);
    sqlite3_bind_int64(m_read_journal, 1, after_seq);
    sqlite3_bind_int64(m_read_journal, 2, static_cast<sqlite3_int64>(limit));
    while ((rc = sqlite3_step(m_read_journal)) == SQLITE_ROW) {
      entries->push_back(JournalEntry{sqlite3_column_int64(m_read_journal, 0), ColumnText(m_read_journal, 1)});
    }
  }
  sqlite3_exec(m_db, "COMMIT", nullptr, nullptr, nullptr);
  if (rc == SQLITE_DONE) return VM_CFG_OK;
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot read the change journal: %s", sqlite3_errmsg(m_db));
  ResetOnFailure(rc);
  return VM_CFG_ERROR;
}

int ConfigStore::LatestSeq(int64_t* seq) {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  StatementScope scope(m_latest);
  const int rc = sqlite3_step(m_latest);
  if (rc != SQLITE_ROW) {
    ResetOnFailure(rc);
    return VM_CFG_ERROR;
  }
  *seq = sqlite3_column_int64(m_latest, 0);
  return VM_CFG_OK;
}

}  // namespace dmcfg
