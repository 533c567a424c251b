// Alarm and system-state writers killed with SIGKILL at random points, many
// times over one database: it must open, pass the integrity check, hold
// every operation that returned success, and hold a cut operation whole or
// not at all (each is one batch): no slot is left half-written.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <set>
#include <string>

#include "alerts/AlertManager.h"
#include "state/uSystemState.h"
#include "support/TempDatabase.h"

#ifndef DM_CRASH_DEFAULT_ROUNDS
#define DM_CRASH_DEFAULT_ROUNDS 12
#endif

namespace {

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

std::string IntegrityCheck(const std::string& path) {
  sqlite3* db = nullptr;
  std::string result = "cannot open";
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    auto first = [](void* out, int, char** values, char**) { return *static_cast<std::string*>(out) = values[0], 0; };
    sqlite3_exec(db, "PRAGMA integrity_check", first, &result, nullptr);
  }
  sqlite3_close(db);
  return result;
}

TEST(AlarmAndStateCrashSafety, KilledWritersLoseNothingThatWasAcknowledged) {
  TempDatabase db;
  const char* env = std::getenv("DM_CRASH_ROUNDS");
  const int rounds = env != nullptr ? std::max(1, std::atoi(env)) : DM_CRASH_DEFAULT_ROUNDS;
  std::mt19937 random(20261124);
  int lastAcked = -1, kills = 0;
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
    int status = 0;
    waitpid(child, &status, 0);
    kills += WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL ? 1 : 0;
    for (int value; read(fds[0], &value, sizeof value) == static_cast<ssize_t>(sizeof value);) lastAcked = value;
    close(fds[0]);
    cut.insert(lastAcked + 1);
    ASSERT_EQ("ok", IntegrityCheck(db.path())) << "after round " << round;
  }
  EXPECT_EQ(rounds, kills);
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
  std::fprintf(stderr, "kill loop: %d rounds, %d kills, %zu cut, integrity ok\n", rounds, kills, cut.size());
}

}  // namespace
