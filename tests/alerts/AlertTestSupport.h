// What the alarm tests share: the fixture (a recording observer, the log,
// the journal of writes in order), delivery, whole slots and whole cards.
#ifndef DEVMGMT_TESTS_ALERTS_ALERTTESTSUPPORT_H_
#define DEVMGMT_TESTS_ALERTS_ALERTTESTSUPPORT_H_

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <sstream>
#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "alerts/uHeroCard.h"
#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

using Texts = std::vector<std::string>;

// Keeps "name/source severity" of each alarm and event it is called with.
class RecordingObserver : public AlertObserver {
 public:
  static std::string Brief(const SystemAlert* r) {
    return r->m_name + "/" + r->m_sourceComponent + " " + std::to_string(r->m_severity);
  }
  void AlertCallback(SystemAlert* alert) override { alerts.push_back(Brief(alert)); }
  void EventCallback(SystemAlert* event) override { events.push_back(Brief(event)); }
  Texts alerts, events;
};

inline int Deliver() { return ConfigManager::Instance()->dispatchPending(); }

inline std::string Param(const std::string& path) {
  char value[4096];
  return vmCfgGetParam(path.c_str(), value, sizeof value) == VM_CFG_OK ? value : "<missing>";
}

// Every field of slot `i` of "alarm" or "event" but the time, in one text.
inline std::string Slot(const std::string& kind, int i) {
  std::string text;
  for (const char* key : {"name", "source_component", "severity", "description", "additionalInfo1", "additionalInfo2",
                          "category", "type", "probable_cause", "confirmation_received", "ui_notification"}) {
    text += "|" + Param("status/" + kind + "/" + std::to_string(i) + "/" + key);
  }
  return text.substr(1);
}

// The flat calls, with what most cases leave out left out.
inline int Alarm(const char* name, const char* source, int severity, int ui, const char* card = nullptr,
                 const char* description = nullptr, const char* values = nullptr) {
  return AlertManager_SetAlert(name, source, severity, description, values, card, nullptr, 0, 0, ui);
}
inline int Event(const char* name, const char* source, int severity, int ui, const char* card = nullptr,
                 const char* description = nullptr, const char* values = nullptr) {
  return AlertManager_SetEvent(name, source, severity, description, values, card, nullptr, 0, 0, ui);
}

// One database per test, the manager of this process, a recording
// observer, the log lines of the alarm module and the journal of writes.
class AlertTest : public testing::Test {
 protected:
  AlertManager* manager() { return AlertManager::GetInstance(); }
  void Observe() {
    manager()->RegisterToAlert(&seen_, "ALL", "ALL");
    manager()->RegisterToEvent(&seen_, "ALL", "ALL");
  }
  testing::AssertionResult Logged(int level, const char* function, const std::string& text,
                                  const char* unit = "AlertManager") {
    return log_.Logged(VM_LOG_MODULE_ALERTS, level, unit, function, text);
  }
  // The keys written since the last call, in write order, each after a blank.
  std::string Written() {
    std::string keys;
    sqlite3* db = nullptr;
    sqlite3_stmt* stmt = nullptr;
    sqlite3_open(db_.path().c_str(), &db);
    sqlite3_prepare_v2(db, "SELECT seq, path FROM changes WHERE seq > ?1 ORDER BY seq", -1, &stmt, nullptr);
    sqlite3_bind_int64(stmt, 1, seq_);
    while (sqlite3_step(stmt) == SQLITE_ROW) {
      seq_ = sqlite3_column_int64(stmt, 0);
      // A batch's row holds its paths, each ended by a NUL.
      std::istringstream paths(std::string(static_cast<const char*>(sqlite3_column_blob(stmt, 1)),
                                           static_cast<size_t>(sqlite3_column_bytes(stmt, 1))));
      for (std::string path; std::getline(paths, path, '\0');) keys += " " + path.substr(path.rfind('/') + 1);
    }
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return keys;
  }
  TempDatabase db_;
  RecordingObserver seen_;
  LogCapture log_;
  long long seq_ = 0;
};

// A whole card as the serialiser writes it, keys in the card's order.
inline std::string CardText(const std::string& channel, bool erase = false, const std::string& text = "",
                            const std::string& issuer = "", const std::string& title = "",
                            const std::string& buttons = "", bool onOff = false, const std::string& type = "",
                            const std::string& originator = uHeroCard::BuildOriginator("")) {
  return R"({"content":{"version":"1.0","issuer":")" + issuer + R"(","title":")" + title +
         R"(","subtitle":"","text":")" + text + R"(","images":[],"buttons":[)" + buttons + R"(]},"channel":")" +
         channel + R"(","originator":")" + originator + R"(","delete":)" + (erase ? "true" : "false") +
         R"(,"onOff":)" + (onOff ? "true" : "false") + R"(,"timeout":0,"sound":{"path":"","repeat":false},"type":")" +
         type + R"("})";
}

#endif  // DEVMGMT_TESTS_ALERTS_ALERTTESTSUPPORT_H_
