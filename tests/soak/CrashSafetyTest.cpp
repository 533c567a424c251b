// Alarm and system-state writers killed with SIGKILL at random points, many
// times over one database: it must open, pass the integrity check, and hold
// every write that returned success. A write under way at the kill may show
// in part (an alarm is one transaction per field), but only its own values.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "state/uSystemState.h"
#include "support/TempDatabase.h"

namespace {

constexpr int kAlarmKeys = 5;
constexpr int kStateKeys = 3;

#ifndef DM_CRASH_DEFAULT_ROUNDS
#define DM_CRASH_DEFAULT_ROUNDS 12
#endif

// Write i: even numbers raise alarm (i / 2) % kAlarmKeys, odd ones store
// state (i / 2) % kStateKeys. Every value written names i.
bool IsAlarm(int i) { return i % 2 == 0; }
int KeyOf(int i) { return IsAlarm(i) ? (i / 2) % kAlarmKeys : (i / 2) % kStateKeys; }
std::string AlarmName(int key) { return "crash" + std::to_string(key); }

int Write(int i) {
  const std::string n = std::to_string(i);
  if (IsAlarm(i)) {
    return AlertManager_SetAlert(AlarmName(KeyOf(i)).c_str(), "writer", 1 + i % 5, ("d" + n).c_str(), n.c_str(),
                                 nullptr, ("c" + n).c_str(), i % 3, i % 7, 0);
  }
  return SetStatusSystemState(GetStatusSystemStatePath(KeyOf(i)), ("s" + n).c_str(), "r", ("i" + n).c_str());
}

// Runs writes from `first` on until killed, reporting each success on `fd`.
[[noreturn]] void Writer(int first, int fd) {
  for (int i = first;; ++i) {
    if (Write(i) != 0) _exit(1);
    if (write(fd, &i, sizeof i) != static_cast<ssize_t>(sizeof i)) _exit(1);
  }
}

std::string IntegrityCheck(const std::string& path) {
  sqlite3* db = nullptr;
  std::string result = "cannot open";
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW) {
      result = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
    }
    sqlite3_finalize(stmt);
  }
  sqlite3_close(db);
  return result;
}

TEST(AlarmAndStateCrashSafety, KilledWritersLoseNothingThatWasAcknowledged) {
  TempDatabase db;
  const char* env = std::getenv("DM_CRASH_ROUNDS");
  const int rounds = env != nullptr && std::atoi(env) > 0 ? std::atoi(env) : DM_CRASH_DEFAULT_ROUNDS;
  std::mt19937 random(20261124);
  int next = 0;
  int lastAcked = -1;
  std::set<int> inFlight;  // writes cut by a kill: they may show in part
  int kills = 0;
  for (int round = 0; round < rounds; ++round) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(fds[0]);
      Writer(next, fds[1]);
    }
    close(fds[1]);
    // The first round runs until every key has a write that succeeded, so
    // that later kills only cut updates; every round kills after its first
    // acknowledged write, at a random point.
    const int mustReach = round == 0 ? 2 * kAlarmKeys * kStateKeys : next;
    int value = -1;
    while (value < mustReach) {
      ASSERT_EQ(static_cast<ssize_t>(sizeof value), read(fds[0], &value, sizeof value)) << "writer failed";
      lastAcked = value;
    }
    usleep(static_cast<useconds_t>(random() % 40000));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) ++kills;
    while (read(fds[0], &value, sizeof value) == static_cast<ssize_t>(sizeof value)) lastAcked = value;
    close(fds[0]);
    inFlight.insert(lastAcked + 1);
    next = lastAcked + 1;
    ASSERT_EQ("ok", IntegrityCheck(db.path())) << "after round " << round;
  }
  EXPECT_EQ(rounds, kills);

  // For each key: its last acknowledged write, then the cut writes after it.
  auto candidates = [&](bool alarm, int key) {
    std::set<int> values;
    int last = -1;
    for (int i = 0; i <= lastAcked; ++i) {
      if (IsAlarm(i) == alarm && KeyOf(i) == key) last = i;
    }
    values.insert(last);
    for (int cut : inFlight) {
      if (cut > last && IsAlarm(cut) == alarm && KeyOf(cut) == key) values.insert(cut);
    }
    return values;
  };
  auto oneOf = [](const std::string& text, const std::string& prefix, const std::set<int>& values) {
    for (int v : values) {
      if (text == prefix + std::to_string(v)) return true;
    }
    return false;
  };

  AlertManager* manager = AlertManager::GetInstance();
  for (int key = 0; key < kAlarmKeys; ++key) {
    const std::set<int> values = candidates(true, key);
    const int slot = manager->FindAlertIndex(AlarmName(key), "writer");
    ASSERT_GE(slot, 0) << AlarmName(key);
    SystemAlert stored;
    ASSERT_EQ(0, manager->CopyAlertElementFromCfg(&stored, slot));
    EXPECT_TRUE(oneOf(stored.m_description, "d", values)) << stored.m_description;
    EXPECT_TRUE(oneOf(stored.m_additionalInfo1, "", values)) << stored.m_additionalInfo1;
    EXPECT_TRUE(oneOf(stored.m_category, "c", values)) << stored.m_category;
    // When no write was cut, the record is exactly the acknowledged one.
    if (values.size() == 1) {
      const int v = *values.begin();
      EXPECT_EQ(1 + v % 5, stored.m_severity);
      EXPECT_EQ(v % 3, stored.m_type);
      EXPECT_EQ(v % 7, stored.m_probableCause);
    }
  }
  for (int key = 0; key < kStateKeys; ++key) {
    const std::set<int> values = candidates(false, key);
    const char* path = GetStatusSystemStatePath(key);
    // A state is one transaction: never in part.
    const std::string status = GetStatusSystemStateStatus(path);
    EXPECT_TRUE(oneOf(status, "s", values)) << path << ": " << status;
    const std::string info = GetStatusSystemStateInfo(path);
    EXPECT_EQ(status.substr(1), info.substr(1)) << path;
  }
}

}  // namespace
