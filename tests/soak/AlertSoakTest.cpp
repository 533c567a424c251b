// Several processes raise, update, clear and delete alarms and add events at
// random, unpaced, each running the alarm observers (the card notifier and a
// recording one). No observer ever receives a torn record (fields of two
// operations), and no snapshot of the tables taken while they run holds a
// torn slot or one alarm in two slots. When all have stopped and the last
// change is delivered, every process's tables equal the database, every
// observer has seen each slot's final record, the card key holds JSON, and
// no process crashed.
//
// DM_SOAK_SECONDS, DM_SOAK_OPERATIONS (per process) and DM_SOAK_PROCESSES
// lengthen the run (scripts/soak.sh).
#include <gtest/gtest.h>
#include <pthread.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "alerts/AlertManager.h"
#include "alerts/AlertUINotifier.h"
#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"
#include "support/TempDatabase.h"

#ifndef DM_SOAK_DEFAULT_SECONDS
#define DM_SOAK_DEFAULT_SECONDS 3
#endif

namespace {

constexpr int kMaxProcesses = 16;

int EnvInt(const char* name, int fallback, int high) {
  const char* text = std::getenv(name);
  return text == nullptr || std::atoi(text) < 1 ? fallback : std::min(std::atoi(text), high);
}

// Shared by all processes of a run (an anonymous shared mapping).
struct Shared {
  pthread_barrier_t barrier;
  long long quietSeq[kMaxProcesses];
};

// The fields a process follows, as text: those whose paths are watched (not
// time nor acknowledgement, nor the event table's ui notification).
std::string Followed(const SystemAlert& r, bool withUi) {
  return r.m_name + "/" + r.m_sourceComponent + " " + std::to_string(r.m_severity) + " " + std::to_string(r.m_type) +
         " " + std::to_string(r.m_probableCause) + (withUi ? " ui " + std::to_string(r.m_uiNotification) : "") +
         " [" + r.m_description + "|" + r.m_additionalInfo1 + "|" + r.m_category + "|" + r.m_additionalInfo2 + "]";
}

// Every text field of an operation names it ("<source>-<n>", or the source
// alone for the first alarm): a record mixing two operations shows.
bool Whole(const std::string& name, const std::string& source, const std::string& info, const std::string& category) {
  if (name.empty() && source.empty()) return info.empty() && category.empty();  // free, or freed whole
  return !name.empty() && !source.empty() && info == category &&
         (info == source || info.compare(0, source.size() + 1, source + "-") == 0);
}

// Keeps every record reported ("A"/"E" and its followed fields, with and
// without the ui notification) and counts torn ones.
class Recorder : public AlertObserver {
 public:
  void AlertCallback(SystemAlert* alert) override { Keep("A", *alert); }
  void EventCallback(SystemAlert* event) override { Keep("E", *event); }
  std::set<std::string> seen;
  int torn = 0;

 private:
  void Keep(const std::string& table, const SystemAlert& r) {
    torn += !Whole(r.m_name, r.m_sourceComponent, r.m_additionalInfo1, r.m_category);
    seen.insert({table + Followed(r, true), table + "-" + Followed(r, false)});
  }
};

// Runs `sql` on a read-only connection, calling `row` for each row.
void Query(const std::string& db, const char* sql, const std::function<void(sqlite3_stmt*)>& row) {
  sqlite3* handle = nullptr;
  sqlite3_stmt* stmt = nullptr;
  sqlite3_open_v2(db.c_str(), &handle, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_busy_timeout(handle, 5000);
  sqlite3_prepare_v2(handle, sql, -1, &stmt, nullptr);
  while (sqlite3_step(stmt) == SQLITE_ROW) row(stmt);
  sqlite3_finalize(stmt);
  sqlite3_close(handle);
}

// What another process reads while the writers run: counts torn slots and
// alarm pairs held by two slots in one snapshot (one statement) of both tables.
struct Sampler {
  void Sample(const std::string& db) {
    std::map<std::string, std::map<std::string, std::string>> slots;  // "<kind>/<n>" -> key -> value
    const char* sql = "SELECT path, value FROM params WHERE path GLOB 'status/alarm/*' OR path GLOB 'status/event/*'";
    Query(db, sql, [&](sqlite3_stmt* row) {
      const std::string path = reinterpret_cast<const char*>(sqlite3_column_text(row, 0));
      const size_t key = path.rfind('/');
      slots[path.substr(7, key - 7)][path.substr(key + 1)] = reinterpret_cast<const char*>(sqlite3_column_text(row, 1));
    });
    std::set<std::string> pairs;
    for (auto& slot : slots) {
      auto& f = slot.second;
      torn += !Whole(f["name"], f["source_component"], f["additionalInfo1"], f["category"]);
      const bool held = slot.first[0] == 'a' && !f["name"].empty();
      duplicates += held && !pairs.insert(f["name"] + "/" + f["source_component"]).second;
    }
    ++snapshots;
  }
  int snapshots = 0, torn = 0, duplicates = 0;
};

// One process's run: random operations until the deadline or the count,
// then delivery rounds until every process has seen the same last change,
// then the checks. Returns the exit status.
int RunProcess(int self, int processes, int seconds, const std::string& db, Shared* shared) {
  int failures = 0;
  auto expect = [&](bool ok, const std::string& what) {
    if (ok) return;
    ++failures;
    std::fprintf(stderr, "process %d: %s\n", self, what.c_str());
  };
  AlertManager* manager = AlertManager::GetInstance();
  ConfigManager* config = ConfigManager::Instance();
  Recorder recorder;
  manager->RegisterToAlert(&recorder, "ALL", "ALL");
  manager->RegisterToEvent(&recorder, "ALL", "ALL");
  AlertUINotifier::GetInstance()->Init();
  std::mt19937 random(static_cast<unsigned>(getpid()) * 2654435761u);
  const std::string source = "soak" + std::to_string(self);
  pthread_barrier_wait(&shared->barrier);  // all set up: start together
  // Every process shows at least one card.
  const char* src = source.c_str();
  expect(AlertManager_SetAlert("first", src, 3, "of [AI1]", src, nullptr, src, 1, 2, 2) == 0, "first alarm refused");
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  const int operations = EnvInt("DM_SOAK_OPERATIONS", 400 * seconds, 1 << 30);
  int counter = 0;
  while (std::chrono::steady_clock::now() < deadline && counter++ < operations) {
    std::string name = "alarm" + std::to_string(random() % 4);
    const std::string info = source + "-" + std::to_string(counter);  // every write differs
    const char* text = info.c_str();
    // Every severity, type and ui notification, independently.
    const int pick = static_cast<int>(random() % 8), a = static_cast<int>(random() % 75);
    if (pick < 3) {
      AlertManager_SetAlert(name.c_str(), src, 1 + a % 5, "[AI1]", text, nullptr, text, a / 5 % 3, a % 2, a / 15);
    } else if (pick == 3) {
      AlertManager_ClearAlert(name.c_str(), src);
    } else if (pick == 4) {
      manager->DeleteAlert(name, source);
    } else {
      AlertManager_SetEvent(name.replace(0, 5, "event").c_str(), src, 1, "[AI1]", text, nullptr, text, 0, 0, a % 3);
    }
    if (random() % 2 == 0) config->dispatchPending();
  }
  // Delivery rounds: each process delivers until its view of the journal is
  // stable, then all compare; a process whose observers wrote in the
  // meantime shows a later change, and everyone goes round again.
  for (bool quiet = false; !quiet;) {
    pthread_barrier_wait(&shared->barrier);
    long long seen = -2;
    for (int stable = 0; stable < 3; std::this_thread::sleep_for(std::chrono::milliseconds(20))) {
      const int calls = config->dispatchPending();
      long long seq = -1;
      Query(db, "SELECT MAX(seq) FROM changes", [&](sqlite3_stmt* row) { seq = sqlite3_column_int64(row, 0); });
      stable = calls == 0 && seq == seen ? stable + 1 : 0;
      seen = seq;
    }
    shared->quietSeq[self] = seen;
    pthread_barrier_wait(&shared->barrier);
    quiet = true;
    for (int p = 0; p < processes; ++p) quiet = quiet && shared->quietSeq[p] == shared->quietSeq[0];
  }
  // Changes to a slot without name or source are ignored by design, so a
  // freed slot keeps its last record in memory; every held slot follows.
  for (int i = 0; i < AlertManager::kSlots; ++i) {
    SystemAlert alarm, event;
    manager->CopyAlertElementFromCfg(&alarm, i);
    manager->CopyEventElementFromCfg(&event, i);
    const std::string slot = " of slot " + std::to_string(i) + ": ";
    // A notifier closing the card of a cleared alarm writes ui 1 inside the
    // pass that reported it; the copy is re-read, so that is not reported again.
    const bool closed = alarm.m_severity == 0 && alarm.m_uiNotification == VM_UI_NOTIFICATION_CLEARED;
    if (!alarm.m_name.empty() && !alarm.m_sourceComponent.empty()) {
      const std::string stored = Followed(alarm, true);
      expect(Followed(*manager->GetSystemAlert(i), true) == stored, "memory differs from the alarm" + slot + stored);
      const bool seen = recorder.seen.count("A" + stored) || (closed && recorder.seen.count("A-" + Followed(alarm, 0)));
      expect(seen, "observer missed the final alarm" + slot + stored);
    }
    if (!event.m_name.empty() && !event.m_sourceComponent.empty()) {
      const std::string stored = Followed(event, false);
      expect(Followed(*manager->GetSystemEvent(i), false) == stored, "memory differs from the event" + slot + stored);
      expect(recorder.seen.count("E-" + stored) > 0, "observer missed the final event" + slot + stored);
    }
  }
  char card[4096];
  rapidjson::Document parsed;
  const bool read = vmCfgGetParam("command/card", card, sizeof card) == VM_CFG_OK;
  expect(read && !parsed.Parse(card).HasParseError() && parsed.IsObject(), std::string("no card object: ") + card);
  expect(recorder.torn == 0, std::to_string(recorder.torn) + " torn records delivered");
  std::fprintf(stderr, "process %d: %d operations, %zu records seen\n", self, counter, recorder.seen.size());
  return failures == 0 ? 0 : 1;
}

TEST(AlertSoak, ProcessesAgreeWithTheDatabaseAfterRandomWork) {
  TempDatabase db;
  const int processes = std::max(2, EnvInt("DM_SOAK_PROCESSES", 4, kMaxProcesses));
  const int seconds = EnvInt("DM_SOAK_SECONDS", DM_SOAK_DEFAULT_SECONDS, 24 * 3600);
  void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(MAP_FAILED, memory);
  Shared* shared = static_cast<Shared*>(memory);
  pthread_barrierattr_t attr;
  pthread_barrierattr_init(&attr);
  pthread_barrierattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
  ASSERT_EQ(0, pthread_barrier_init(&shared->barrier, &attr, static_cast<unsigned>(processes)));
  std::set<pid_t> running;
  for (int p = 0; p < processes; ++p) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      _exit(RunProcess(p, processes, seconds, db.path(), shared));
    }
    running.insert(child);
  }
  // A process that dies leaves the others waiting at a barrier: stop them.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(seconds + 120);
  Sampler sampler;
  bool failed = false;
  while (!running.empty()) {
    sampler.Sample(db.path());
    int status = 0;
    const pid_t done = waitpid(-1, &status, WNOHANG);
    if (done > 0 && running.erase(done) == 1 && !(WIFEXITED(status) && WEXITSTATUS(status) == 0)) {
      failed = true;
      ADD_FAILURE() << "a process ended with wait status " << status;
    }
    failed = failed || std::chrono::steady_clock::now() > limit;
    for (pid_t child : failed ? running : std::set<pid_t>()) kill(child, SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  std::fprintf(stderr, "snapshots %d, torn slots %d, duplicate pairs %d\n", sampler.snapshots, sampler.torn,
               sampler.duplicates);
  EXPECT_TRUE(sampler.snapshots > 0 && sampler.torn == 0 && sampler.duplicates == 0);
  EXPECT_FALSE(failed);
  munmap(memory, sizeof(Shared));
}

}  // namespace
