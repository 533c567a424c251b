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

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

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

int EnvInt(const char* name, int fallback, int low, int high) {
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return fallback;
  const int value = std::atoi(text);
  return value < low ? low : (value > high ? high : value);
}

// Shared by all processes of a run (an anonymous shared mapping).
struct Shared {
  pthread_barrier_t barrier;
  long long quietSeq[kMaxProcesses];
};

// The fields a process follows: those whose paths are watched. Time and
// acknowledgement are not watched, nor is the event table's ui notification,
// so a write of only those is not followed (the next watched change is).
bool Same(const SystemAlert& a, const SystemAlert& b, bool withUi = true) {
  return a.m_name == b.m_name && a.m_description == b.m_description && a.m_sourceComponent == b.m_sourceComponent &&
         a.m_additionalInfo1 == b.m_additionalInfo1 && a.m_additionalInfo2 == b.m_additionalInfo2 &&
         a.m_category == b.m_category && a.m_severity == b.m_severity && a.m_type == b.m_type &&
         a.m_probableCause == b.m_probableCause && (!withUi || a.m_uiNotification == b.m_uiNotification);
}

std::string Text(const SystemAlert& r) {
  return r.m_name + "/" + r.m_sourceComponent + " sev " + std::to_string(r.m_severity) + " ui " +
         std::to_string(r.m_uiNotification) + " ack " + std::to_string(r.m_confirmationReceived) + " type " +
         std::to_string(r.m_type) + " cause " + std::to_string(r.m_probableCause) + " at " + r.m_time + " [" +
         r.m_description + "|" + r.m_additionalInfo1 + "|" + r.m_category + "|" + r.m_additionalInfo2 + "]";
}

// Every text field of an operation names it ("<source>-<n>", or the source
// alone for the first alarm): a record mixing two operations shows.
bool Whole(const std::string& name, const std::string& source, const std::string& info, const std::string& category) {
  if (name.empty() && source.empty()) return info.empty() && category.empty();  // free, or freed whole
  return !name.empty() && !source.empty() && info == category &&
         (info == source || info.compare(0, source.size() + 1, source + "-") == 0);
}

bool Whole(const SystemAlert& r) { return Whole(r.m_name, r.m_sourceComponent, r.m_additionalInfo1, r.m_category); }

std::string Describe(const SystemAlert* mine, const SystemAlert& stored) {
  return "memory " + (mine ? Text(*mine) : std::string("none")) + " database " + Text(stored);
}

class Recorder : public AlertObserver {
 public:
  void AlertCallback(SystemAlert* alert) override { Keep(alerts, *alert); }
  void EventCallback(SystemAlert* event) override { Keep(events, *event); }
  int torn = 0;
  size_t Delivered() const { return alerts.size() + events.size(); }
  bool SawAlert(const SystemAlert& record) const { return Saw(alerts, record, true); }
  bool SawEvent(const SystemAlert& record) const { return Saw(events, record, false); }

 private:
  void Keep(std::vector<SystemAlert>& seen, const SystemAlert& record) {
    // An alarm reported cleared because another took its slot keeps its own
    // fields; every record is checked.
    if (!Whole(record)) {
      if (torn++ == 0) std::fprintf(stderr, "torn record delivered: %s\n", Text(record).c_str());
    }
    seen.push_back(record);
  }
  static bool Saw(const std::vector<SystemAlert>& seen, const SystemAlert& record, bool withUi) {
    // The newest report first: the final record is usually the last one.
    for (auto it = seen.rbegin(); it != seen.rend(); ++it) {
      if (Same(*it, record, withUi)) return true;
      // A notifier closing the card of a cleared alarm writes ui 1 inside
      // the pass that reported it; the copy is re-read, so that write is not
      // reported again.
      if (withUi && record.m_severity == 0 && record.m_uiNotification == VM_UI_NOTIFICATION_CLEARED &&
          Same(*it, record, false)) {
        return true;
      }
    }
    return false;
  }
  std::vector<SystemAlert> alerts;
  std::vector<SystemAlert> events;
};

// The newest journal entry: what "every change delivered" is measured by.
long long LastJournalSeq(const std::string& path) {
  sqlite3* db = nullptr;
  long long seq = -1;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_busy_timeout(db, 5000);
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, "SELECT COALESCE(MAX(seq), 0) FROM changes", -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW) {
      seq = sqlite3_column_int64(stmt, 0);
    }
    sqlite3_finalize(stmt);
  }
  sqlite3_close(db);
  return seq;
}

// What another process reads while the writers run: both tables in one
// read transaction. Counts torn slots and alarm pairs held by two slots.
class Sampler {
 public:
  explicit Sampler(const std::string& path) {
    sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_busy_timeout(m_db, 5000);
  }
  ~Sampler() { sqlite3_close(m_db); }
  void Sample() {
    struct Slot {
      std::string name, source, info, category;
    };
    std::map<std::string, Slot> slots;  // "<kind>/<n>"
    sqlite3_exec(m_db, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(m_db,
                           "SELECT path, value FROM params WHERE (path > 'status/alarm/' AND path < 'status/alarm0') "
                           "OR (path > 'status/event/' AND path < 'status/event0')",
                           -1, &stmt, nullptr) == SQLITE_OK) {
      while (sqlite3_step(stmt) == SQLITE_ROW) {
        const std::string path = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
        const std::string value = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
        const size_t key = path.rfind('/');
        Slot& slot = slots[path.substr(7, key - 7)];
        const std::string field = path.substr(key + 1);
        if (field == "name") slot.name = value;
        if (field == "source_component") slot.source = value;
        if (field == "additionalInfo1") slot.info = value;
        if (field == "category") slot.category = value;
      }
    }
    sqlite3_finalize(stmt);
    sqlite3_exec(m_db, "COMMIT", nullptr, nullptr, nullptr);
    std::set<std::string> pairs;
    for (const auto& entry : slots) {
      const Slot& slot = entry.second;
      if (!Whole(slot.name, slot.source, slot.info, slot.category)) {
        if (torn++ == 0) std::fprintf(stderr, "torn slot %s: %s/%s %s|%s\n", entry.first.c_str(), slot.name.c_str(),
                                      slot.source.c_str(), slot.info.c_str(), slot.category.c_str());
      }
      if (entry.first.compare(0, 6, "alarm/") == 0 && !slot.name.empty() &&
          !pairs.insert(slot.name + "/" + slot.source).second) {
        ++duplicates;
      }
    }
    ++snapshots;
  }
  int snapshots = 0, torn = 0, duplicates = 0;

 private:
  sqlite3* m_db = nullptr;
};

// Reports the first broken invariant on stderr; the exit status tells the parent.
#define SOAK_EXPECT(condition, ...)                                \
  do {                                                             \
    if (!(condition)) {                                            \
      std::fprintf(stderr, "process %d: ", self);                  \
      std::fprintf(stderr, __VA_ARGS__);                           \
      std::fprintf(stderr, "\n");                                  \
      failures++;                                                  \
    }                                                              \
  } while (0)

// One process's run: random operations until the deadline or the count,
// then delivery rounds until every process has seen the same last change,
// then the checks. Returns the exit status.
int RunProcess(int self, int processes, int seconds, const std::string& dbPath, Shared* shared) {
  int failures = 0;
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
  if (AlertManager_SetAlert("first", source.c_str(), 3, "first of [AI1]", source.c_str(), nullptr, source.c_str(), 1, 2,
                            VM_UI_NOTIFICATION_DEVICE) != 0) {
    std::fprintf(stderr, "process %d: first alarm refused\n", self);
    return 1;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  int counter = 0;
  const int maxOperations = EnvInt("DM_SOAK_OPERATIONS", 400 * seconds, 1, 1 << 30);
  while (std::chrono::steady_clock::now() < deadline && counter < maxOperations) {
    ++counter;
    const std::string name = "alarm" + std::to_string(random() % 4);
    const std::string info = source + "-" + std::to_string(counter);  // every write differs
    switch (random() % 8) {
      case 0:
      case 1:
      case 2:
        AlertManager_SetAlert(name.c_str(), source.c_str(), 1 + static_cast<int>(random() % 5), "[AI1] is down",
                              info.c_str(), nullptr, info.c_str(), static_cast<int>(random() % 3),
                              static_cast<int>(random() % 3), static_cast<int>(random() % 5));
        break;
      case 3:
        AlertManager_ClearAlert(name.c_str(), source.c_str());
        break;
      case 4:
        manager->DeleteAlert(name, source);
        break;
      default:
        AlertManager_SetEvent(("event" + std::to_string(random() % 3)).c_str(), source.c_str(), 1, "[AI1]",
                              info.c_str(), nullptr, info.c_str(), 0, 0, static_cast<int>(random() % 3));
        break;
    }
    if (random() % 2 == 0) config->dispatchPending();
  }

  // Delivery rounds: each process delivers until its view of the journal is
  // stable, then all compare; a process whose observers wrote in the
  // meantime shows a later change, and everyone goes round again.
  for (int round = 0;; ++round) {
    pthread_barrier_wait(&shared->barrier);
    long long seen = -2;
    for (int stable = 0; stable < 3;) {
      const int calls = config->dispatchPending();
      const long long seq = LastJournalSeq(dbPath);
      stable = (calls == 0 && seq == seen) ? stable + 1 : 0;
      seen = seq;
      if (stable < 3) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    shared->quietSeq[self] = seen;
    pthread_barrier_wait(&shared->barrier);
    bool quiet = true;
    for (int p = 0; p < processes; ++p) quiet = quiet && shared->quietSeq[p] == shared->quietSeq[0];
    if (quiet) break;
    if (round > 200) {
      std::fprintf(stderr, "process %d: changes never stopped\n", self);
      return 1;
    }
  }

  for (int i = 0; i < AlertManager::kSlots; ++i) {
    SystemAlert stored;
    manager->CopyAlertElementFromCfg(&stored, i);
    const SystemAlert* mine = manager->GetSystemAlert(i);
    // Changes to a slot without name or source are ignored by design, so a
    // freed slot keeps its last record in memory; every held slot follows.
    if (!stored.m_name.empty() && !stored.m_sourceComponent.empty()) {
      SOAK_EXPECT(mine != nullptr && Same(*mine, stored), "alarm slot %d differs from the database: %s", i,
                  Describe(mine, stored).c_str());
      SOAK_EXPECT(recorder.SawAlert(stored), "observer missed the final alarm of slot %d (%s/%s %s)", i,
                  stored.m_name.c_str(), stored.m_sourceComponent.c_str(), stored.m_additionalInfo1.c_str());
    }
    manager->CopyEventElementFromCfg(&stored, i);
    mine = manager->GetSystemEvent(i);
    if (!stored.m_name.empty() && !stored.m_sourceComponent.empty()) {
      SOAK_EXPECT(mine != nullptr && Same(*mine, stored, false), "event slot %d differs from the database: %s", i,
                  Describe(mine, stored).c_str());
      SOAK_EXPECT(recorder.SawEvent(stored), "observer missed the final event of slot %d (%s/%s %s)", i,
                  stored.m_name.c_str(), stored.m_sourceComponent.c_str(), stored.m_additionalInfo1.c_str());
    }
  }
  char card[4096];
  SOAK_EXPECT(vmCfgGetParam("command/card", card, sizeof card) == VM_CFG_OK, "no card was written");
  rapidjson::Document parsed;
  parsed.Parse(card);
  SOAK_EXPECT(!parsed.HasParseError() && parsed.IsObject(), "the card key does not hold a JSON object: %s", card);
  SOAK_EXPECT(recorder.torn == 0, "%d torn records delivered", recorder.torn);
  std::fprintf(stderr, "process %d: %d operations, %zu records delivered, %d torn\n",
               self, counter, recorder.Delivered(), recorder.torn);
  return failures == 0 ? 0 : 1;
}

TEST(AlertSoak, ProcessesAgreeWithTheDatabaseAfterRandomWork) {
  TempDatabase db;
  const int processes = EnvInt("DM_SOAK_PROCESSES", 4, 2, kMaxProcesses);
  const int seconds = EnvInt("DM_SOAK_SECONDS", DM_SOAK_DEFAULT_SECONDS, 1, 24 * 3600);
  void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(MAP_FAILED, memory);
  Shared* shared = static_cast<Shared*>(memory);
  pthread_barrierattr_t attr;
  pthread_barrierattr_init(&attr);
  pthread_barrierattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
  ASSERT_EQ(0, pthread_barrier_init(&shared->barrier, &attr, static_cast<unsigned>(processes)));
  pthread_barrierattr_destroy(&attr);

  std::vector<pid_t> children;
  for (int p = 0; p < processes; ++p) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      std::fflush(stderr);
      _exit(RunProcess(p, processes, seconds, db.path(), shared));
    }
    children.push_back(child);
  }

  // A process that dies leaves the others waiting at a barrier: stop them.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(seconds + 120);
  std::vector<int> statuses(children.size(), -1);
  size_t running = children.size();
  bool failed = false;
  Sampler sampler(db.path());
  while (running > 0) {
    sampler.Sample();
    for (size_t i = 0; i < children.size(); ++i) {
      if (statuses[i] != -1) continue;
      int status = 0;
      if (waitpid(children[i], &status, WNOHANG) == children[i]) {
        statuses[i] = status;
        --running;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) failed = true;
      }
    }
    if (running > 0 && (failed || std::chrono::steady_clock::now() > limit)) {
      for (size_t i = 0; i < children.size(); ++i) {
        if (statuses[i] == -1) kill(children[i], SIGKILL);
      }
      failed = true;
    }
    if (running > 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  std::fprintf(stderr, "snapshots %d, torn slots %d, duplicate pairs %d\n", sampler.snapshots, sampler.torn,
               sampler.duplicates);
  EXPECT_EQ(0, sampler.torn);
  EXPECT_EQ(0, sampler.duplicates);
  for (size_t i = 0; i < children.size(); ++i) {
    const int status = statuses[i];
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "process " << i << (WIFSIGNALED(status) ? " killed by signal " : " exited with ")
        << (WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
  }
  EXPECT_FALSE(failed);
  pthread_barrier_destroy(&shared->barrier);
  munmap(memory, sizeof(Shared));
}

}  // namespace
