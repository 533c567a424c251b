// Change notifications and write batches: what is delivered, when, to
// whom, from this process, other threads and other processes; and what a
// killed writer leaves.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/ConfigManager.h"
#include "platform/config/ConfigReads.h"
#include "platform/vmCfg.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

using Paths = std::vector<std::string>;

// Callbacks are plain functions, so what they see is kept here.
std::mutex g_mutex;
std::condition_variable g_changed;
std::vector<Paths> g_batches;

int Record(char** paths, int count) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_batches.emplace_back(paths, paths + count);
  g_changed.notify_all();
  return 0;
}

int RecordOther(char** paths, int count) { return Record(paths, count); }

std::vector<Paths> Batches() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_batches;
}

void WriteFromChild(const char* path, const char* value) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(vmCfgSetParam(path, value) == VM_CFG_OK ? 0 : 1);
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

class ConfigManagerTest : public testing::Test {
 protected:
  TempDatabase db_;
  ConfigManager* manager_ = ConfigManager::Instance();
};

TEST_F(ConfigManagerTest, WritesArriveAsOneBatchPerRegistrationInWriteOrder) {
  ASSERT_GE(manager_->registerMultiConfigPathsChangeCallback({"/w/a", "w/b", "w/c"}, Record), 0);
  ASSERT_GE(manager_->registerMultiConfigPathsChangeCallback({"w/c"}, RecordOther), 0);
  LogCapture log;
  EXPECT_EQ(-1, manager_->registerMultiConfigPathsChangeCallback({}, Record));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "ConfigManager", "registerMultiConfigPathsChangeCallback",
                         "Refused a registration without callback or paths"));
  for (const char* path : {"w/b", "w/a", "w/b", "w/unwatched"}) ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path, "1"));
  EXPECT_EQ(1, manager_->dispatchPending());  // only the first registration has news
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("/w/c", "same value twice counts"));
  EXPECT_EQ(2, manager_->flushChangeNotificationMsg());
  // A deletion is announced like a write; deleting nothing is not.
  EXPECT_EQ(VM_CFG_NOT_FOUND, vmCfgDeleteParam("w/never"));
  ASSERT_EQ(VM_CFG_OK, vmCfgDeleteParam("/w/a"));
  EXPECT_EQ(1, manager_->dispatchPending());
  EXPECT_EQ((std::vector<Paths>{{"w/b", "w/a"}, {"w/c"}, {"w/c"}, {"w/a"}}), Batches());
}

TEST_F(ConfigManagerTest, WritesOfAnotherProcessWakeAWaiterAndTheDeliveryThread) {
  ASSERT_GE(manager_->registerMultiConfigPathsChangeCallback({"shared/key"}, Record), 0);
  EXPECT_EQ(0, manager_->waitForChange(50));  // nothing written: a time-out
  WriteFromChild("shared/key", "from child");
  EXPECT_EQ(1, manager_->waitForChange(5000));
  EXPECT_EQ(1, manager_->dispatchPending());  // a wake means the commit is visible
  // Activity on the database's files without a commit neither wakes a waiter nor ends its wait early.
  std::ofstream(db_.path() + "-probe") << "x";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(0, manager_->waitForChange(300));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(290));
  EXPECT_EQ("from child", Read("shared/key"));
  ASSERT_TRUE(manager_->startDeliveryThread());
  WriteFromChild("shared/key", "again");
  {
    std::unique_lock<std::mutex> lock(g_mutex);
    EXPECT_TRUE(g_changed.wait_for(lock, std::chrono::seconds(10), [] { return g_batches.size() == 2; }));
  }
  manager_->stopDeliveryThread();
  EXPECT_EQ((std::vector<Paths>{{"shared/key"}, {"shared/key"}}), Batches());
}

// A process that fell behind the pruned journal is told so, and gets each path it watches once.
TEST_F(ConfigManagerTest, AProcessBehindThePrunedJournalGetsEveryWatchedPathOnce) {
  ASSERT_GE(manager_->registerMultiConfigPathsChangeCallback({"p/a", "p/b"}, Record), 0);
  LogCapture log;
  // The journal keeps 4,096 entries and is pruned every 256 writes.
  for (int i = 0; i < 4096 + 512; ++i) ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("p/a", std::to_string(i).c_str()));
  EXPECT_EQ(1, manager_->dispatchPending());
  EXPECT_EQ((std::vector<Paths>{{"p/a", "p/b"}}), Batches());
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_WARNING, "ConfigManager", "dispatchPending", "Missed journal"));
}

TEST_F(ConfigManagerTest, ConfigBatchWritesAreSeenTogetherAfterTheOutermostCommit) {
  ASSERT_GE(manager_->registerMultiConfigPathsChangeCallback({"b/1", "b/2", "b/3"}, Record), 0);
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("b/3", "rolled back"));
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchRollback());
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("b/2", "two"));
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());  // nested: only the outermost commit counts
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("b/1", "one"));
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchCommit());
  EXPECT_EQ("one", Read("b/1"));  // the batch reads its own writes
  EXPECT_EQ("<none>", RawSql(db_.path(), "SELECT value FROM params WHERE path = 'b/1'"));
  EXPECT_EQ(0, manager_->dispatchPending());  // held until the commit
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchCommit());  // delivers what was asked for inside
  EXPECT_EQ("one", RawSql(db_.path(), "SELECT value FROM params WHERE path = 'b/1'"));
  EXPECT_EQ((std::vector<Paths>{{"b/2", "b/1"}}), Batches());  // nothing of the rolled back one
}

TEST(ConfigBatch, ARollbackAtAnyDepthDoomsTheWholeBatch) {
  TempDatabase db;
  for (int rollbackAt : {1, 2}) {  // of two nested batches, the inner or the outer one is rolled back
    const std::string path = "doomed/" + std::to_string(rollbackAt);
    ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());
    ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path.c_str(), "x"));
    EXPECT_TRUE(rollbackAt != 1 || vmCfgBatchCommit() == VM_CFG_OK);
    ASSERT_EQ(VM_CFG_OK, vmCfgBatchRollback());
    if (rollbackAt == 2) {
      EXPECT_EQ(VM_CFG_ERROR, vmCfgSetParam((path + "/after").c_str(), "y"));  // still inside a doomed batch
      EXPECT_EQ(VM_CFG_ERROR, vmCfgBatchCommit());
    }
    EXPECT_EQ("<-2>", Read(path.c_str()));
  }
  LogCapture log;
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgBatchCommit());
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgBatchRollback());
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "ConfigStore", "BatchRollback", "No write batch to roll"));
  EXPECT_EQ(VM_CFG_OK, vmCfgSetParam("after/all", "z"));  // no batch is left open
}

// Threads share the process's connection: another thread's write waits for
// the batch and is not part of it.
TEST(ConfigBatch, AnotherThreadsWriteIsNotPartOfTheBatch) {
  TempDatabase db;
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("t/mine", "rolled back"));
  int rc = VM_CFG_ERROR;
  std::thread other([&] { rc = vmCfgSetParam("t/theirs", "kept"); });
  usleep(50000);  // the thread is waiting for the batch now (or will)
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchRollback());
  other.join();
  EXPECT_EQ(VM_CFG_OK, rc);
  EXPECT_EQ("kept|<-2>", Read("t/theirs") + "|" + Read("t/mine"));
}

// A write whose change cannot be journaled is not kept: watchers would
// never learn of it.
TEST(ConfigBatch, WritesWhoseChangeCannotBeJournaledAreNotKept) {
  TempDatabase db;
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("j/0", "before"));
  ASSERT_EQ("<none>", RawSql(db.path(), "CREATE TRIGGER t BEFORE INSERT ON changes BEGIN SELECT RAISE(ABORT, 'no'); END"));
  LogCapture log;
  EXPECT_EQ(VM_CFG_ERROR, vmCfgSetParam("j/0", "plain"));
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("j/1", "batched"));
  EXPECT_EQ(VM_CFG_ERROR, vmCfgBatchCommit());
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "ConfigStore", "FlushJournalLocked", "change journal"));
  EXPECT_EQ("before", RawSql(db.path(), "SELECT group_concat(value) FROM params WHERE path LIKE 'j/%'"));
}

// A writer killed at random points, often inside a batch, must leave a
// database that passes the integrity check, holds every batch that reported
// success and nothing of the one cut short; its lock goes with it.
TEST(ConfigCrashSafety, KilledWriterLosesNothingAcknowledgedAndLeavesNoHalfBatch) {
  TempDatabase db;
  std::mt19937 random(20261123);
  int next = 0;  // the first write of the next writer
  for (int round = 0; round < 6; ++round) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(fds[0]);
      for (int i = next;; ++i) {  // reported only after the commit returned success
        const std::string value = std::to_string(i);
        if (vmCfgBatchBegin() != VM_CFG_OK || vmCfgSetParam(("crash/" + value).c_str(), value.c_str()) != VM_CFG_OK ||
            vmCfgSetParam(("pair/" + value).c_str(), value.c_str()) != VM_CFG_OK || vmCfgBatchCommit() != VM_CFG_OK ||
            write(fds[1], &i, sizeof i) != static_cast<ssize_t>(sizeof i)) {
          _exit(1);
        }
      }
    }
    close(fds[1]);
    // Killed at a random point after the first acknowledged batch, so that
    // the writer is under way even where start-up is slow (emulation).
    int value = 0;
    ASSERT_EQ(static_cast<ssize_t>(sizeof value), read(fds[0], &value, sizeof value)) << "round " << round;
    usleep(static_cast<useconds_t>(random() % 60000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    while (read(fds[0], &value, sizeof value) == static_cast<ssize_t>(sizeof value)) {
    }
    close(fds[0]);
    next = value + 1;
  }
  EXPECT_EQ("ok", RawSql(db.path(), "PRAGMA integrity_check"));
  EXPECT_EQ(RawSql(db.path(), "SELECT count(*) FROM params WHERE path LIKE 'crash/%'"),
            RawSql(db.path(), "SELECT count(*) FROM params WHERE path LIKE 'pair/%'"));
  for (int i = 0; i < next; ++i) ASSERT_EQ(std::to_string(i), Read(("pair/" + std::to_string(i)).c_str())) << i;
}

}  // namespace
