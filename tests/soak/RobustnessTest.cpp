// The library under stress, in four tests.
//
// Several processes raise, update, clear and delete alarms and add events at
// random, unpaced, each running the alarm observers (the card notifier and a
// recording one). No observer, reading what the others write while they
// run, ever receives a torn record (fields of two operations). When all have
// stopped and the last change is delivered, every process's tables equal the
// database and no process crashed.
//
// Alarm and system-state writers killed with SIGKILL at random points, many
// times over one database: it must open, pass the integrity check, hold
// every operation that returned success, and hold a cut operation whole or
// not at all (each is one batch): no slot is left half-written.
//
// Threads of one process sharing the library: several threads sending
// events while another receives them, and several threads reading system
// states while one writes them. Run under the tsan preset to check for data
// races; in every build they check that nothing is lost or torn.
//
// DM_SOAK_SECONDS, DM_SOAK_OPERATIONS (per process), DM_SOAK_PROCESSES and
// DM_CRASH_ROUNDS lengthen the runs (scripts/soak.sh).
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "alerts/AlertManager.h"
#include "alerts/AlertUINotifier.h"
#include "events/SingletonHolder.h"
#include "events/uDeviceManagementAgent.h"
#include "events/uDeviceManagementEventFactory.h"
#include "platform/ConfigManager.h"
#include "platform/config/ConfigReads.h"
#include "state/uSystemState.h"
#include "support/TempDatabase.h"
#include "support/TestQueue.h"

#ifndef DM_SOAK_DEFAULT_SECONDS
#define DM_SOAK_DEFAULT_SECONDS 3
#endif
#ifndef DM_CRASH_DEFAULT_ROUNDS
#define DM_CRASH_DEFAULT_ROUNDS 12
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

// Every text field of an operation names it ("<source>-<n>"): a record
// mixing two operations shows.
bool Whole(const std::string& name, const std::string& source, const std::string& info, const std::string& category) {
  if (name.empty() && source.empty()) return info.empty() && category.empty();  // free, or freed whole
  return !name.empty() && !source.empty() && info == category && info.compare(0, source.size() + 1, source + "-") == 0;
}

// Counts the torn records reported.
class Recorder : public AlertObserver {
 public:
  void AlertCallback(SystemAlert* r) override { Keep(*r); }
  void EventCallback(SystemAlert* r) override { Keep(*r); }
  void Keep(const SystemAlert& r) { torn += !Whole(r.m_name, r.m_sourceComponent, r.m_additionalInfo1, r.m_category); }
  int torn = 0;
};

// One process's run: random operations until the deadline or the count,
// then delivery rounds until every process has seen the same last change,
// then the checks. Returns the exit status.
int RunProcess(int self, int processes, int seconds, const std::string& db, Shared* shared) {
  AlertManager* manager = AlertManager::GetInstance();
  ConfigManager* config = ConfigManager::Instance();
  Recorder recorder;
  manager->RegisterToAlert(&recorder, "ALL", "ALL");
  manager->RegisterToEvent(&recorder, "ALL", "ALL");
  AlertUINotifier::GetInstance()->Init();
  std::mt19937 random(static_cast<unsigned>(getpid()) * 2654435761u);
  const std::string source = "soak" + std::to_string(self);
  pthread_barrier_wait(&shared->barrier);  // all set up: start together
  const char* src = source.c_str();
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
    for (int stable = 0; stable < 3; std::this_thread::sleep_for(std::chrono::milliseconds(20))) {
      const int calls = config->dispatchPending();
      const long long seq = std::atoll(RawSql(db, "SELECT MAX(seq) FROM changes").c_str());
      stable = calls == 0 && seq == shared->quietSeq[self] ? stable + 1 : 0;
      shared->quietSeq[self] = seq;
    }
    pthread_barrier_wait(&shared->barrier);
    quiet = true;
    for (int p = 0; p < processes; ++p) quiet = quiet && shared->quietSeq[p] == shared->quietSeq[0];
  }
  std::string failures = recorder.torn == 0 ? "" : std::to_string(recorder.torn) + " torn records delivered; ";
  // Changes to a slot without name or source are ignored by design, so a
  // freed slot keeps its last record in memory; every held slot follows.
  for (int i = 0; i < 2 * AlertManager::kSlots; ++i) {  // the alarm table, then the event table
    const int n = i % AlertManager::kSlots;
    const bool alarm = i < AlertManager::kSlots;
    SystemAlert stored;
    alarm ? manager->CopyAlertElementFromCfg(&stored, n) : manager->CopyEventElementFromCfg(&stored, n);
    const std::string text = Followed(stored, alarm);
    const SystemAlert* memory = alarm ? manager->GetSystemAlert(n) : manager->GetSystemEvent(n);
    if (!stored.m_name.empty() && !stored.m_sourceComponent.empty() && Followed(*memory, alarm) != text) {
      failures += (alarm ? "alarm " : "event ") + std::to_string(n) + ": memory differs from " + text + "; ";
    }
  }
  if (!failures.empty()) std::fprintf(stderr, "process %d: %s\n", self, failures.c_str());
  return failures.empty() ? 0 : 1;
}

TEST(AlertSoak, ProcessesAgreeWithTheDatabaseAfterRandomWork) {
  TempDatabase db;
  const int processes = std::max(2, EnvInt("DM_SOAK_PROCESSES", 4, kMaxProcesses));
  const int seconds = EnvInt("DM_SOAK_SECONDS", DM_SOAK_DEFAULT_SECONDS, 24 * 3600);
  void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto* shared = static_cast<Shared*>(memory);
  pthread_barrierattr_t attr;
  pthread_barrierattr_init(&attr);
  pthread_barrierattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
  ASSERT_NE(MAP_FAILED, memory);
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
  bool failed = false;
  while (!running.empty()) {
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
  munmap(memory, sizeof(Shared));
}

constexpr int kAlarmKeys = 5;
constexpr int kStateKeys = 3;

// Write i: even numbers raise alarm (i / 2) % kAlarmKeys (every third time
// for a key, delete it), odd ones store state (i / 2) % kStateKeys. Every
// value written names i.
bool IsAlarm(int i) { return i % 2 == 0; }
int KeyOf(int i) { return IsAlarm(i) ? (i / 2) % kAlarmKeys : (i / 2) % kStateKeys; }
bool IsDelete(int i) { return IsAlarm(i) && (i / 2 / kAlarmKeys) % 3 == 2; }
std::string AlarmName(int key) { return "crash" + std::to_string(key); }

int Write(int i) {
  const std::string n = std::to_string(i), name = AlarmName(KeyOf(i));
  AlertManager* manager = AlertManager::GetInstance();
  if (IsDelete(i)) return manager->DeleteAlert(name, "writer") < 0 && manager->FindAlertIndex(name, "writer") >= 0;
  if (!IsAlarm(i)) return SetStatusSystemState(GetStatusSystemStatePath(KeyOf(i)), ("s" + n).c_str(), "r", n.c_str());
  return AlertManager_SetAlert(name.c_str(), "writer", 1 + i % 5, ("d" + n).c_str(), n.c_str(), nullptr,
                               ("c" + n).c_str(), i % 3, i % 7, 0);
}

// What the key of write i holds after it, and what it holds now.
std::string Expected(int i) {
  const std::string n = std::to_string(i);
  if (!IsAlarm(i)) return "s" + n + "|" + n;
  if (IsDelete(i)) return "none";
  return "d" + n + "|" + n + "|c" + n + "|" + std::to_string(1 + i % 5) + "|" + std::to_string(i % 3) + "|" +
         std::to_string(i % 7);
}
std::string Stored(bool alarm, int key) {
  const char* path = GetStatusSystemStatePath(key);
  if (!alarm) return GetStatusSystemStateStatus(path) + "|" + GetStatusSystemStateInfo(path);
  const int slot = AlertManager::GetInstance()->FindAlertIndex(AlarmName(key), "writer");
  SystemAlert s;
  if (slot < 0 || AlertManager::GetInstance()->CopyAlertElementFromCfg(&s, slot) != 0) return "none";
  return s.m_description + "|" + s.m_additionalInfo1 + "|" + s.m_category + "|" + std::to_string(s.m_severity) + "|" +
         std::to_string(s.m_type) + "|" + std::to_string(s.m_probableCause);
}

TEST(AlarmAndStateCrashSafety, KilledWritersLoseNothingThatWasAcknowledged) {
  TempDatabase db;
  const int rounds = EnvInt("DM_CRASH_ROUNDS", DM_CRASH_DEFAULT_ROUNDS, 1 << 20);
  std::mt19937 random(20261124);
  int lastAcked = -1;
  std::set<int> cut;  // writes a kill may have cut: they may show, whole
  for (int round = 0; round < rounds; ++round) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {  // writes until killed, reporting each success
      for (int i = lastAcked + 1;; ++i) {
        if (Write(i) != 0 || write(fds[1], &i, sizeof i) != static_cast<ssize_t>(sizeof i)) _exit(1);
      }
    }
    close(fds[1]);
    // The first round runs until every key has a write that succeeded, so
    // that later kills only cut updates; every round kills after its first
    // acknowledged write, at a random point.
    const int mustReach = round == 0 ? 2 * kAlarmKeys * kStateKeys : lastAcked + 1;
    for (int value = -1; value < mustReach; lastAcked = value) {
      ASSERT_EQ(static_cast<ssize_t>(sizeof value), read(fds[0], &value, sizeof value)) << "writer failed";
    }
    usleep(static_cast<useconds_t>(random() % 40000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    for (int value; read(fds[0], &value, sizeof value) == static_cast<ssize_t>(sizeof value);) lastAcked = value;
    close(fds[0]);
    cut.insert(lastAcked + 1);
    ASSERT_EQ("ok", RawSql(db.path(), "PRAGMA integrity_check")) << "after round " << round;
  }
  // Each key holds its last acknowledged write or one cut after it, whole.
  for (int alarm = 0; alarm < 2; ++alarm) {
    for (int key = 0; key < (alarm ? kAlarmKeys : kStateKeys); ++key) {
      int last = -1;
      for (int i = 0; i <= lastAcked; ++i) last = IsAlarm(i) == (alarm == 1) && KeyOf(i) == key ? i : last;
      std::set<std::string> allowed = {Expected(last)};
      for (int i : cut) {
        if (i > last && IsAlarm(i) == (alarm == 1) && KeyOf(i) == key) allowed.insert(Expected(i));
      }
      const std::string stored = Stored(alarm == 1, key);
      EXPECT_EQ(1u, allowed.count(stored)) << (alarm ? "alarm " : "state ") << key << ": " << stored;
    }
  }
  // A slot has a name and a source, or neither and nothing else.
  for (int i = 0; i < AlertManager::kSlots; ++i) {
    SystemAlert s;
    AlertManager::GetInstance()->CopyAlertElementFromCfg(&s, i);
    const bool empty = (s.m_description + s.m_additionalInfo1 + s.m_category).empty() &&
                       s.m_severity + s.m_type + s.m_probableCause == 0;
    EXPECT_TRUE(s.m_name.empty() == s.m_sourceComponent.empty() && (!s.m_name.empty() || empty)) << i << " leaked";
  }
}

TEST(Concurrency, EventsSentFromSeveralThreadsArriveWholeAndOnce) {
  TempDatabase db;
  TestQueue emsc(VM_MQ_ID_EMSC);
  // The sender singleton is made on first use without a lock, so a process
  // that sends from several threads makes it before they start.
  ASSERT_NE(nullptr, (SingletonHolder<uIPCSender, uIPCSender>::Instance()));
  constexpr int kThreads = 4, kPerThread = 40;
  std::atomic<int> sent{0}, received{0};
  std::set<int> statuses, expected;
  std::thread receiver([&] {
    message_extra_t message;
    // Nothing for a second ends it: a send was lost.
    for (int length; received < kThreads * kPerThread && (length = emsc.Receive(message)) >= 0; ++received) {
      auto event = uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(message, length);
      auto* status = dynamic_cast<SendIppStatusEv*>(event.get());
      statuses.insert(status != nullptr ? status->m_data.m_status.GetValue() : -1);
    }
  });
  std::vector<std::thread> senders;
  for (int t = 0; t < kThreads; ++t) {
    senders.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        // Keep fewer messages in flight than the queue holds (10).
        while (sent.load() - received.load() >= 6) std::this_thread::yield();
        sent.fetch_add(1);
        SendIppStatusMessageToEmsc(t * 1000 + i);
      }
    });
  }
  for (std::thread& sender : senders) sender.join();
  receiver.join();
  for (int n = 0; n < kThreads * kPerThread; ++n) expected.insert(n / kPerThread * 1000 + n % kPerThread);
  EXPECT_EQ(expected, statuses);  // each status once, none torn
}

TEST(Concurrency, StateReadersNeverSeeATornOrOlderRecord) {
  TempDatabase db;
  const char* path = GetStatusSystemStatePath(0);
  ASSERT_EQ(0, SetStatusSystemState(path, "0", "r", "0"));
  constexpr int kWrites = 60;
  std::atomic<bool> done{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> readers;
  for (int r = 0; r < 3; ++r) {
    readers.emplace_back([&] {
      int last = 0;
      while (!done.load()) {
        SystemState record;
        const bool read = GetStatusSystemState(path, record) == 0;
        const int value = std::atoi(record.m_status.GetString().c_str());
        if (!read || record.m_status.GetString() != record.m_info.GetString() || value < last) failures.fetch_add(1);
        last = read ? value : last;
      }
    });
  }
  for (int i = 1; i <= kWrites; ++i) {
    const std::string n = std::to_string(i);
    ASSERT_EQ(0, SetStatusSystemState(path, n.c_str(), "r", n.c_str()));
  }
  done.store(true);
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(std::to_string(kWrites), GetStatusSystemStateStatus(path));
}

}  // namespace
