// Alarm and system-state writers killed with SIGKILL at random points, many
// times over one database: it must open, pass the integrity check, hold
// every operation that returned success, and hold a cut operation whole or
// not at all (each is one batch): no slot is left half-written.
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

// Write i: even numbers raise alarm (i / 2) % kAlarmKeys (every third time
// for a key, delete it), odd ones store state (i / 2) % kStateKeys. Every
// value written names i.
bool IsAlarm(int i) { return i % 2 == 0; }
int KeyOf(int i) { return IsAlarm(i) ? (i / 2) % kAlarmKeys : (i / 2) % kStateKeys; }
bool IsDelete(int i) { return IsAlarm(i) && (i / 2 / kAlarmKeys) % 3 == 2; }
std::string AlarmName(int key) { return "crash" + std::to_string(key); }

int Write(int i) {
  const std::string n = std::to_string(i);
  if (IsDelete(i)) {
    const int slot = AlertManager::GetInstance()->DeleteAlert(AlarmName(KeyOf(i)), "writer");
    return slot >= 0 || AlertManager::GetInstance()->FindAlertIndex(AlarmName(KeyOf(i)), "writer") < 0 ? 0 : 1;
  }
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

  // Each alarm key holds the result of one candidate operation, whole.
  AlertManager* manager = AlertManager::GetInstance();
  int lost = 0;
  for (int key = 0; key < kAlarmKeys; ++key) {
    const int slot = manager->FindAlertIndex(AlarmName(key), "writer");
    SystemAlert stored;
    if (slot >= 0) manager->CopyAlertElementFromCfg(&stored, slot);
    bool found = false;
    for (int v : candidates(true, key)) {
      const std::string n = std::to_string(v);
      found = found || (IsDelete(v) ? slot < 0
                                    : slot >= 0 && stored.m_description == "d" + n && stored.m_additionalInfo1 == n &&
                                          stored.m_category == "c" + n && stored.m_severity == 1 + v % 5 &&
                                          stored.m_type == v % 3 && stored.m_probableCause == v % 7);
    }
    lost += found ? 0 : 1;
    EXPECT_TRUE(found) << AlarmName(key) << " in slot " << slot << ": " << stored.m_description << " "
                       << stored.m_additionalInfo1 << " " << stored.m_category << " " << stored.m_severity;
  }
  // A slot has a name and a source, or neither and nothing else.
  int leaked = 0;
  for (int i = 0; i < AlertManager::kSlots; ++i) {
    SystemAlert slot;
    manager->CopyAlertElementFromCfg(&slot, i);
    const bool named = !slot.m_name.empty(), sourced = !slot.m_sourceComponent.empty();
    const bool empty = slot.m_description.empty() && slot.m_additionalInfo1.empty() && slot.m_category.empty() &&
                       slot.m_severity == 0 && slot.m_type == 0 && slot.m_probableCause == 0;
    if (named != sourced || (!named && !empty)) ++leaked;
  }
  EXPECT_EQ(0, leaked);
  std::fprintf(stderr, "kill loop: %d rounds, %d kills, %d cut, leaked slots %d, integrity ok, lost %d\n", rounds,
               kills, static_cast<int>(inFlight.size()), leaked, lost);
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
