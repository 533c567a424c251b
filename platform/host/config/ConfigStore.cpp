#include "platform/host/config/ConfigStore.h"

#include <fcntl.h>
#include <pthread.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

// Resets a statement when the scope ends, whatever path returns. A scope
// always ends before the connection can be closed (see NoteFailure).
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

bool IsDamage(int rc) {
  const int primary = rc & 0xFF;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || primary == SQLITE_IOERR;
}

// "file:" URI of a path, for opening with URI parameters.
std::string FileUri(const std::string& path) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string uri = "file:";
  for (unsigned char c : path) {
    if (c == '%' || c == '?' || c == '#' || c < 0x20) {
      uri += '%';
      uri += kHex[c >> 4];
      uri += kHex[c & 0xF];
    } else {
      uri += static_cast<char>(c);
    }
  }
  return uri;
}

// One statement's single integer result, or -1.
long long QueryInt(sqlite3* db, const char* sql, int* rc_out) {
  sqlite3_stmt* stmt = nullptr;
  long long value = -1;
  int rc = sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr);
  if (rc == SQLITE_OK) {
    rc = sqlite3_step(stmt);
    if (rc == SQLITE_ROW) value = sqlite3_column_int64(stmt, 0);
  }
  sqlite3_finalize(stmt);
  *rc_out = rc == SQLITE_ROW ? SQLITE_OK : (rc == SQLITE_OK ? sqlite3_errcode(db) : rc);
  return value;
}

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
    // The child has only the forking thread and not the parent's connection,
    // so no batch survives into it.
    pthread_atfork([] { Instance().m_mutex.lock(); }, [] { Instance().m_mutex.unlock(); },
                   [] {
                     ConfigStore& self = Instance();
                     self.m_forked = self.m_db != nullptr;
                     self.m_batchPaths.clear();
                     self.m_batchDepth = 0;
                     self.m_batchDoomed = false;
                     self.m_batchOwner = std::thread::id();
                     self.m_mutex.unlock();
                   });
    return made;
  }();
  return *store;
}

std::unique_lock<std::mutex> ConfigStore::Acquire() {
  std::unique_lock<std::mutex> lock(m_mutex);
  const std::thread::id self = std::this_thread::get_id();
  m_batchEnded.wait(lock, [&] { return m_batchDepth == 0 || m_batchOwner == self; });
  return lock;
}

bool ConfigStore::ShouldLog(const char* kind, int rc) {
  std::string key = kind;
  key += ':';
  key += std::to_string(rc);
  const time_t now = time(nullptr);
  if (key == m_lastFailure && now - m_lastFailureAt < 2) return false;
  m_lastFailure = key;
  m_lastFailureAt = now;
  return true;
}

void ConfigStore::NoteFailure(int rc) {
  if (IsDamage(rc)) m_broken = true;
  if (m_batchDepth > 0) m_batchDoomed = true;
}

std::string ConfigStore::DatabasePath() {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_path.empty() ? DefaultDatabasePath() : m_path;
}

int ConfigStore::UseDatabase(const char* path) {
  auto lock = Acquire();
  if (m_batchDepth > 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot change the database inside a write batch");
    return VM_CFG_ERROR;
  }
  CloseLocked();
  m_path = path ? path : "";
  m_lastFailure.clear();
  return EnsureOpenLocked() ? VM_CFG_OK : VM_CFG_ERROR;
}

void ConfigStore::CloseLocked() {
  // A forked child abandons its parent's connection: closing it could
  // checkpoint or remove files under the parent.
  if (!m_forked) {
    for (sqlite3_stmt* stmt : m_statements) sqlite3_finalize(stmt);
    if (m_db != nullptr) sqlite3_close(m_db);
  }
  m_forked = false;
  m_statements.clear();
  m_begin = m_commit = m_rollback = m_get = m_upsert = m_delete = m_journal = m_prune = nullptr;
  m_next = m_next_unbounded = m_next_paths = m_next_paths_unbounded = nullptr;
  m_read_journal = m_first_kept = m_latest = nullptr;
  m_db = nullptr;
  m_broken = false;
  m_readOnly = false;
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
  if (m_db != nullptr && !m_forked) {
    // A damaged or replaced file is opened afresh, but never under a batch:
    // its transaction lives on this connection until the batch ends.
    if (!m_broken || m_batchDepth > 0) return true;
    CloseLocked();
  }
  // A forked child must not use its parent's connection (its locks belong
  // to the parent): CloseLocked abandons it, and a new one is opened.
  if (m_db != nullptr) CloseLocked();
  const std::string path = m_path.empty() ? DefaultDatabasePath() : m_path;
  if (!OpenLocked(path)) {
    CloseLocked();
    return false;
  }
  return true;
}

bool ConfigStore::OpenConnection(const std::string& path, bool immutable) {
  if (m_db != nullptr) sqlite3_close(m_db);
  m_db = nullptr;
  const std::string name = immutable ? FileUri(path) + "?immutable=1" : path;
  const int flags = (m_readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE) | SQLITE_OPEN_NOMUTEX |
                    (immutable ? SQLITE_OPEN_URI : 0);
  if (sqlite3_open_v2(name.c_str(), &m_db, flags, nullptr) != SQLITE_OK) {
    if (ShouldLog("open", m_db ? sqlite3_errcode(m_db) : SQLITE_NOMEM)) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot open configuration database %s: %s", path.c_str(),
             m_db ? sqlite3_errmsg(m_db) : "out of memory");
    }
    return false;
  }
  sqlite3_busy_timeout(m_db, BusyTimeoutMs());
  sqlite3_exec(m_db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
  // A bounded page cache, so that no read's heap grows with the database;
  // the kernel caches the file. No memory map: a damaged or truncated file
  // must give readers an error, never SIGBUS.
  sqlite3_exec(m_db, "PRAGMA cache_size=-256", nullptr, nullptr, nullptr);
  return true;
}

bool ConfigStore::OpenLocked(const std::string& path) {
  // The default location is made on first use; a named one must exist.
  if (!CheckDatabaseFolder(path, m_path.empty() && std::getenv("VM_CFG_DB") == nullptr)) return false;
  // Create the file ourselves so that it is private from the first byte;
  // SQLite gives its -wal and -shm files the same mode. A file we may not
  // write is opened for reading only.
  m_readOnly = false;
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0 && (errno == EACCES || errno == EROFS || errno == EPERM)) {
    fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    m_readOnly = fd >= 0;
  }
  if (fd < 0) {
    const int error = errno;
    if (ShouldLog("open", error)) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot open configuration database %s: %s", path.c_str(),
             std::strerror(error));
    }
    return false;
  }
  close(fd);
  if (!OpenConnection(path, false)) return false;
  // Whether the tables exist: a read, so it works while another process
  // holds the write lock.
  int rc = SQLITE_OK;
  long long tables = QueryInt(
      m_db, "SELECT count(*) FROM sqlite_master WHERE type='table' AND name IN ('params','changes')", &rc);
  if (rc != SQLITE_OK && m_readOnly && ((rc & 0xFF) == SQLITE_READONLY || (rc & 0xFF) == SQLITE_CANTOPEN)) {
    // A read-only folder without the shared-memory file: nothing can write
    // the file in WAL mode, so it is read as it is.
    if (!OpenConnection(path, true)) return false;
    tables = QueryInt(m_db, "SELECT count(*) FROM sqlite_master WHERE type='table' AND name IN ('params','changes')",
                      &rc);
  }
  if (rc != SQLITE_OK) {
    if (ShouldLog("open", rc)) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Configuration database %s is unusable: %s", path.c_str(),
             sqlite3_errstr(rc));
    }
    return false;
  }
  if (tables < 2) {
    if (m_readOnly) {
      if (ShouldLog("open", SQLITE_READONLY)) {
        DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Configuration database %s is read-only and has no tables",
               path.c_str());
      }
      return false;
    }
    if (!CreateTablesLocked(path)) return false;
  } else if (!m_readOnly) {
    const long long wal = QueryInt(m_db, "SELECT journal_mode = 'wal' FROM pragma_journal_mode", &rc);
    if (rc == SQLITE_OK && wal != 1) Exec(m_db, "PRAGMA journal_mode=WAL");
  }
  if (m_readOnly) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_NOTICE, "Configuration database %s is read-only: writes will fail",
           path.c_str());
  }

  // Prepared once: compiling BEGIN and COMMIT on every write costs as much as
  // the write itself.
  m_begin = Prepare("BEGIN IMMEDIATE");
  m_commit = Prepare("COMMIT");
  m_rollback = Prepare("ROLLBACK");
  m_get = Prepare("SELECT value FROM params WHERE path = ?1");
  m_upsert = Prepare(
      "INSERT INTO params(path, value) VALUES(?1, ?2) "
      "ON CONFLICT(path) DO UPDATE SET value = excluded.value");
  m_delete = Prepare("DELETE FROM params WHERE path = ?1");
  m_journal = Prepare("INSERT INTO changes(path) VALUES(?1)");
  m_prune = Prepare("DELETE FROM changes WHERE seq <= ?1");
  m_read_journal = Prepare("SELECT seq, path FROM changes WHERE seq > ?1 ORDER BY seq LIMIT ?2");
  m_first_kept = Prepare("SELECT min(seq) FROM changes");
  m_latest = Prepare("SELECT max(seq) FROM changes");
  for (sqlite3_stmt* stmt : {m_begin, m_commit, m_rollback, m_get, m_upsert, m_journal, m_prune, m_read_journal,
                             m_first_kept, m_latest}) {
    if (stmt == nullptr) return false;
  }
  return true;
}

// A new file: WAL mode, the two tables and the default profile, in one
// write transaction (another process may be creating it at the same time).
bool ConfigStore::CreateTablesLocked(const std::string& path) {
  if (!Exec(m_db, "PRAGMA journal_mode=WAL") || !Exec(m_db, "BEGIN IMMEDIATE")) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Configuration database %s is unusable", path.c_str());
    return false;
  }
  int rc = SQLITE_OK;
  const bool fresh =
      QueryInt(m_db, "SELECT count(*) FROM sqlite_master WHERE type='table' AND name='params'", &rc) == 0;
  bool ok = rc == SQLITE_OK &&
            Exec(m_db,
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
    sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot prepare configuration database %s", path.c_str());
    return false;
  }
  if (fresh) DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_NOTICE, "Created configuration database %s", path.c_str());
  return true;
}

int ConfigStore::Get(const std::string& path, std::string* value) {
  auto lock = Acquire();
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  int rc;
  {
    StatementScope scope(m_get);
    BindText(m_get, 1, path);
    rc = sqlite3_step(m_get);
    if (rc == SQLITE_ROW) {
      *value = ColumnText(m_get, 0);
      return VM_CFG_OK;
    }
    if (rc == SQLITE_DONE) return VM_CFG_NOT_FOUND;
    if (ShouldLog("read", rc)) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot read %s: %s", path.c_str(), sqlite3_errmsg(m_db));
    }
  }
  NoteFailure(rc);
  return VM_CFG_ERROR;
}

int ConfigStore::Set(const std::string& path, const std::string& value) {
  auto lock = Acquire();
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  StatementScope upsert(m_upsert);
  BindText(m_upsert, 1, path);
  BindText(m_upsert, 2, value);
  return ChangeLocked(path, m_upsert, "write");
}

int ConfigStore::Delete(const std::string& path) {
  auto lock = Acquire();
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  StatementScope remove(m_delete);
  BindText(m_delete, 1, path);
  const int rc = ChangeLocked(path, m_delete, "delete");
  if (rc == VM_CFG_NOT_FOUND) DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_DEBUG, "No stored value of %s to delete", path.c_str());
  return rc;
}

int ConfigStore::ChangeLocked(const std::string& path, sqlite3_stmt* change, const char* verb) {
  const bool batch = m_batchDepth > 0;
  if (m_readOnly || (batch && m_batchDoomed)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot %s %s: %s", verb, path.c_str(),
           m_readOnly ? "the configuration database is read-only" : "its write batch failed earlier");
    return VM_CFG_ERROR;
  }
  int rc = SQLITE_DONE;
  if (!batch) {
    StatementScope begin(m_begin);
    rc = sqlite3_step(m_begin);
  }
  if (rc == SQLITE_DONE) rc = sqlite3_step(change);
  if (rc == SQLITE_DONE && sqlite3_changes(m_db) == 0) {
    // Nothing was stored there (a delete of a missing path): nothing to announce.
    if (!batch) {
      StatementScope rollback(m_rollback);
      sqlite3_step(m_rollback);
    }
    return VM_CFG_NOT_FOUND;
  }
  if (rc == SQLITE_DONE && batch) {
    m_batchPaths.push_back(path);  // journaled at the commit, in write order
    return VM_CFG_OK;
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
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot %s %s: %s", verb, path.c_str(), sqlite3_errmsg(m_db));
  // A batch keeps its transaction until its outermost end, which rolls back.
  if (!batch && !sqlite3_get_autocommit(m_db)) sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
  NoteFailure(rc);
  if (batch) m_batchDoomed = true;
  return VM_CFG_ERROR;
}

int ConfigStore::BatchBegin() {
  auto lock = Acquire();
  if (m_batchDepth > 0) {
    ++m_batchDepth;
    return VM_CFG_OK;
  }
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  if (m_readOnly) {
    if (ShouldLog("batch", SQLITE_READONLY)) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot start a write batch: the configuration database is read-only");
    }
    return VM_CFG_ERROR;
  }
  int rc;
  {
    StatementScope begin(m_begin);
    rc = sqlite3_step(m_begin);
  }
  if (rc != SQLITE_DONE) {
    if (ShouldLog("batch", rc)) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot start a write batch: %s", sqlite3_errmsg(m_db));
    }
    NoteFailure(rc);
    return VM_CFG_ERROR;
  }
  m_batchDepth = 1;
  m_batchDoomed = false;
  m_batchOwner = std::this_thread::get_id();
  return VM_CFG_OK;
}

int ConfigStore::FlushJournalLocked() {
  if (m_batchPaths.empty()) return VM_CFG_OK;
  // One journal row for the whole batch: its paths, in write order, each
  // ended by a NUL (which no path holds).
  std::string paths;
  for (const std::string& path : m_batchPaths) paths.append(path).push_back('\0');
  int rc;
  {
    StatementScope journal(m_journal);
    BindText(m_journal, 1, paths);
    rc = sqlite3_step(m_journal);
  }
  const int64_t seq = sqlite3_last_insert_rowid(m_db);
  // Pruning now and then keeps the journal short without a cost per write.
  if (rc == SQLITE_DONE && seq % 256 == 0 && seq > kJournalKeep) {
    StatementScope prune(m_prune);
    sqlite3_bind_int64(m_prune, 1, seq - kJournalKeep);
    rc = sqlite3_step(m_prune);
  }
  if (rc == SQLITE_DONE) return VM_CFG_OK;
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot write the change journal of a write batch: %s",
         sqlite3_errmsg(m_db));
  NoteFailure(rc);
  return VM_CFG_ERROR;
}

void ConfigStore::EndBatchLocked() {
  m_batchPaths.clear();
  m_batchDepth = 0;
  m_batchDoomed = false;
  m_batchOwner = std::thread::id();
  m_batchEnded.notify_all();
}

int ConfigStore::BatchCommit() {
  auto lock = Acquire();
  if (m_batchDepth == 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "No write batch to commit on this thread");
    return VM_CFG_BAD_ARG;
  }
  if (--m_batchDepth > 0) return m_batchDoomed ? VM_CFG_ERROR : VM_CFG_OK;
  int result = VM_CFG_OK;
  if (m_batchDoomed) {
    result = VM_CFG_ERROR;
  } else if (FlushJournalLocked() != VM_CFG_OK) {
    result = VM_CFG_ERROR;
  } else {
    StatementScope commit(m_commit);
    const int rc = sqlite3_step(m_commit);
    if (rc != SQLITE_DONE) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot commit a write batch: %s", sqlite3_errmsg(m_db));
      if (IsDamage(rc)) m_broken = true;
      result = VM_CFG_ERROR;
    }
  }
  if (result != VM_CFG_OK && !sqlite3_get_autocommit(m_db)) {
    StatementScope rollback(m_rollback);
    sqlite3_step(m_rollback);
  }
  EndBatchLocked();
  return result;
}

int ConfigStore::BatchRollback() {
  auto lock = Acquire();
  if (m_batchDepth == 0) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "No write batch to roll back on this thread");
    return VM_CFG_BAD_ARG;
  }
  m_batchDoomed = true;
  if (--m_batchDepth > 0) return VM_CFG_OK;
  if (!sqlite3_get_autocommit(m_db)) {
    StatementScope rollback(m_rollback);
    sqlite3_step(m_rollback);
  }
  EndBatchLocked();
  return VM_CFG_OK;
}

bool ConfigStore::InBatchOnThisThread() {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_batchDepth > 0 && m_batchOwner == std::this_thread::get_id();
}

sqlite3_stmt* ConfigStore::WalkStatementLocked(bool values, bool bounded) {
  sqlite3_stmt*& stmt =
      values ? (bounded ? m_next : m_next_unbounded) : (bounded ? m_next_paths : m_next_paths_unbounded);
  if (stmt != nullptr) return stmt;
  // Prepared at the first walk, not at open: most processes never walk, and
  // each statement holds a few KiB. A walk seeks to where its last batch
  // ended (?1, at or after the prefix): bounded by the prefix alone, each
  // batch would scan every row before it again. Paths alone come from the
  // path index without visiting the table: half the pages, and no row
  // look-up per entry.
  std::string sql = values ? "SELECT path, value" : "SELECT path";
  sql += " FROM params WHERE path >= ?1";
  if (bounded) sql += " AND path < ?2";
  sql += " AND (?3 OR path > ?1) ORDER BY path LIMIT ?4";
  stmt = Prepare(sql.c_str());
  return stmt;
}

int ConfigStore::Next(const std::string& prefix, const std::string& after, bool inclusive, bool values,
                      size_t limit, std::vector<std::pair<std::string, std::string>>* entries) {
  auto lock = Acquire();
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  const std::string end = PrefixEnd(prefix);
  sqlite3_stmt* stmt = WalkStatementLocked(values, !end.empty());
  if (stmt == nullptr) return VM_CFG_ERROR;
  int rc;
  {
    StatementScope scope(stmt);
    // Nothing before the prefix belongs to the walk.
    const bool fromPrefix = after < prefix;
    BindText(stmt, 1, fromPrefix ? prefix : after);
    if (!end.empty()) BindText(stmt, 2, end);
    sqlite3_bind_int(stmt, 3, fromPrefix || inclusive ? 1 : 0);
    sqlite3_bind_int64(stmt, 4, static_cast<sqlite3_int64>(limit));
    const size_t before = entries->size();
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
      entries->emplace_back(ColumnText(stmt, 0), values ? ColumnText(stmt, 1) : std::string());
    }
    if (rc == SQLITE_DONE) return entries->size() > before ? VM_CFG_OK : VM_CFG_NOT_FOUND;
    if (ShouldLog("iterate", rc)) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot iterate %s: %s", prefix.c_str(), sqlite3_errmsg(m_db));
    }
  }
  NoteFailure(rc);
  return VM_CFG_ERROR;
}

int ConfigStore::ReadJournal(int64_t after_seq, size_t limit, std::vector<JournalEntry>* entries,
                             int64_t* first_kept) {
  auto lock = Acquire();
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  // One read transaction, so the first kept number and the rows agree (a
  // batch of this thread is one already).
  const bool own = m_batchDepth == 0;
  if (own && sqlite3_exec(m_db, "BEGIN", nullptr, nullptr, nullptr) != SQLITE_OK) {
    const int rc = sqlite3_errcode(m_db);
    if (ShouldLog("journal", rc)) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot read the change journal: %s", sqlite3_errmsg(m_db));
    }
    NoteFailure(rc);
    return VM_CFG_ERROR;
  }
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
      const int64_t seq = sqlite3_column_int64(m_read_journal, 0);
      const std::string paths = ColumnText(m_read_journal, 1);
      // A batch's row holds its paths, each ended by a NUL.
      size_t start = 0;
      for (size_t end; (end = paths.find('\0', start)) != std::string::npos; start = end + 1) {
        entries->push_back(JournalEntry{seq, paths.substr(start, end - start)});
      }
      if (start < paths.size()) entries->push_back(JournalEntry{seq, paths.substr(start)});
    }
  }
  if (rc != SQLITE_DONE && ShouldLog("journal", rc)) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot read the change journal: %s", sqlite3_errmsg(m_db));
  }
  if (own && !sqlite3_get_autocommit(m_db)) {
    StatementScope commit(m_commit);
    sqlite3_step(m_commit);
  }
  if (rc == SQLITE_DONE) return VM_CFG_OK;
  NoteFailure(rc);
  return VM_CFG_ERROR;
}

int ConfigStore::LatestSeq(int64_t* seq) {
  auto lock = Acquire();
  if (!EnsureOpenLocked()) return VM_CFG_ERROR;
  int rc;
  {
    StatementScope scope(m_latest);
    rc = sqlite3_step(m_latest);
    if (rc == SQLITE_ROW) {
      *seq = sqlite3_column_int64(m_latest, 0);
      return VM_CFG_OK;
    }
    if (ShouldLog("journal", rc)) {
      DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Cannot read the change journal: %s", sqlite3_errmsg(m_db));
    }
  }
  NoteFailure(rc);
  return VM_CFG_ERROR;
}

}  // namespace dmcfg
