#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "platform/vmCfg.h"
#include "support/TempDatabase.h"

namespace {

// A writer killed at random points must leave a database that opens, passes
// the integrity check and holds every write that reported success.
TEST(ConfigCrashSafety, KilledWriterLosesNothingThatWasAcknowledged) {
  TempDatabase db;
  std::mt19937 random(20261123);
  int next = 0;
  std::vector<int> acknowledged;
  for (int round = 0; round < 6; ++round) {
    int pipe_fds[2];
    ASSERT_EQ(0, pipe(pipe_fds));
    const int first = next;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(pipe_fds[0]);
      for (int i = first;; ++i) {
        const std::string value = std::to_string(i);
        if (vmCfgSetParam(("crash/" + value).c_str(), value.c_str()) != VM_CFG_OK) _exit(1);
        // Report only after the write returned success.
        if (write(pipe_fds[1], &i, sizeof i) != static_cast<ssize_t>(sizeof i)) _exit(1);
      }
    }
    close(pipe_fds[1]);
    // Kill at a random point after the first acknowledged write, so that the
    // writer is under way even where start-up is slow (emulation).
    int value = 0;
    ASSERT_EQ(static_cast<ssize_t>(sizeof value), read(pipe_fds[0], &value, sizeof value));
    acknowledged.push_back(value);
    next = value + 1;
    usleep(static_cast<useconds_t>(random() % 60000));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    while (read(pipe_fds[0], &value, sizeof value) == static_cast<ssize_t>(sizeof value)) {
      acknowledged.push_back(value);
      next = value + 1;
    }
    close(pipe_fds[0]);
  }
  ASSERT_FALSE(acknowledged.empty());

  sqlite3* raw = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(db.path().c_str(), &raw));
  sqlite3_stmt* check = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_prepare_v2(raw, "PRAGMA integrity_check", -1, &check, nullptr));
  ASSERT_EQ(SQLITE_ROW, sqlite3_step(check));
  EXPECT_STREQ("ok", reinterpret_cast<const char*>(sqlite3_column_text(check, 0)));
  sqlite3_finalize(check);
  sqlite3_close(raw);

  for (int value : acknowledged) {
    char stored[16];
    ASSERT_EQ(VM_CFG_OK, vmCfgGetParam(("crash/" + std::to_string(value)).c_str(), stored, sizeof stored)) << value;
    EXPECT_EQ(std::to_string(value), stored);
  }
}

}  // namespace
