// What the alarm tests share: a recording observer, delivery, and the
// change journal (to check the order of a function's writes).
#ifndef DEVMGMT_TESTS_ALERTS_ALERTTESTSUPPORT_H_
#define DEVMGMT_TESTS_ALERTS_ALERTTESTSUPPORT_H_

#include <sqlite3.h>

#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "alerts/AlertObserver.h"
#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"

class RecordingObserver : public AlertObserver {
 public:
  void AlertCallback(SystemAlert* alert) override { alerts.push_back(*alert); }
  void EventCallback(SystemAlert* event) override { events.push_back(*event); }
  std::vector<SystemAlert> alerts;
  std::vector<SystemAlert> events;
};

// The change masks of a slot, which the library keeps to itself.
struct AlertManagerTesting {
  static int ChangeAlertFlag(int index) { return AlertManager::GetInstance()->m_ChangeAlertFlag[index]; }
  static int ChangeEventFlag(int index) { return AlertManager::GetInstance()->m_ChangeEventFlag[index]; }
};

inline int Deliver() { return ConfigManager::Instance()->dispatchPending(); }

inline std::string Param(const std::string& path) {
  char value[4096];
  return vmCfgGetParam(path.c_str(), value, sizeof value) == VM_CFG_OK ? value : "<missing>";
}

// The paths journaled after `after`, in write order; LastSeq for the mark.
class Journal {
 public:
  explicit Journal(const std::string& db) { sqlite3_open(db.c_str(), &m_db); }
  ~Journal() { sqlite3_close(m_db); }
  long long LastSeq() {
    long long seq = 0;
    Query("SELECT COALESCE(MAX(seq), 0) FROM changes", [&](sqlite3_stmt* s) { seq = sqlite3_column_int64(s, 0); });
    return seq;
  }
  std::vector<std::string> PathsAfter(long long after) {
    std::vector<std::string> paths;
    const std::string sql = "SELECT path FROM changes WHERE seq > " + std::to_string(after) + " ORDER BY seq";
    Query(sql.c_str(), [&](sqlite3_stmt* s) {
      // A batch's row holds its paths, each ended by a NUL.
      const std::string row(reinterpret_cast<const char*>(sqlite3_column_text(s, 0)),
                            static_cast<size_t>(sqlite3_column_bytes(s, 0)));
      for (size_t start = 0, end; start < row.size(); start = end + 1) {
        end = row.find('\0', start);
        if (end == std::string::npos) end = row.size();
        paths.push_back(row.substr(start, end - start));
      }
    });
    return paths;
  }

 private:
  template <typename Row>
  void Query(const char* sql, Row row) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(m_db, sql, -1, &stmt, nullptr) != SQLITE_OK) return;
    while (sqlite3_step(stmt) == SQLITE_ROW) row(stmt);
    sqlite3_finalize(stmt);
  }
  sqlite3* m_db = nullptr;
};

// "status/<kind>/<slot>/<key>" for each key.
inline std::vector<std::string> SlotPaths(const char* kind, int slot, const std::vector<std::string>& keys) {
  std::vector<std::string> paths;
  for (const std::string& key : keys) paths.push_back("status/" + std::string(kind) + "/" + std::to_string(slot) + "/" + key);
  return paths;
}

#endif  // DEVMGMT_TESTS_ALERTS_ALERTTESTSUPPORT_H_
