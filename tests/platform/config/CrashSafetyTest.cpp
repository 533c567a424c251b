// A writer killed at random points must leave a database that opens, passes
// the integrity check and holds every write that reported success.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "platform/config/RawSql.h"
#include "platform/vmCfg.h"
#include "support/TempDatabase.h"

namespace {

TEST(ConfigCrashSafety, KilledWriterLosesNothingThatWasAcknowledged) {
  TempDatabase db;
  std::mt19937 random(20261123);
  std::vector<int> acknowledged{-1};
  for (int round = 0; round < 6; ++round) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(fds[0]);
      for (int i = acknowledged.back() + 1;; ++i) {
        const std::string value = std::to_string(i);
        // Reported only after the write returned success.
        if (vmCfgSetParam(("crash/" + value).c_str(), value.c_str()) != VM_CFG_OK ||
            write(fds[1], &i, sizeof i) != static_cast<ssize_t>(sizeof i)) {
          _exit(1);
        }
      }
    }
    close(fds[1]);
    // Killed at a random point after the first acknowledged write, so that
    // the writer is under way even where start-up is slow (emulation).
    int value = 0;
    ASSERT_EQ(static_cast<ssize_t>(sizeof value), read(fds[0], &value, sizeof value));
    usleep(static_cast<useconds_t>(random() % 60000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    do {
      acknowledged.push_back(value);
    } while (read(fds[0], &value, sizeof value) == static_cast<ssize_t>(sizeof value));
    close(fds[0]);
  }
  EXPECT_EQ("ok", RawSql(db.path(), "PRAGMA integrity_check"));
  for (size_t i = 1; i < acknowledged.size(); ++i) {
    char stored[16];
    const std::string value = std::to_string(acknowledged[i]);
    ASSERT_EQ(VM_CFG_OK, vmCfgGetParam(("crash/" + value).c_str(), stored, sizeof stored)) << value;
    EXPECT_EQ(value, stored);
  }
}

}  // namespace
