#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"
#include "support/TempDatabase.h"

namespace {

// Callbacks are plain functions, so what they see is kept here.
std::mutex g_mutex;
std::condition_variable g_changed;
std::vector<std::vector<std::string>> g_batches;
int g_depth = 0;
int g_max_depth = 0;

int Record(char** paths, int count) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_batches.emplace_back(paths, paths + count);
  g_changed.notify_all();
  return 0;
}

int RecordOther(char** paths, int count) { return Record(paths, count); }

std::vector<std::vector<std::string>> Batches() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_batches;
}

class ConfigManagerTest : public testing::Test {
 protected:
  TempDatabase db_;
};

TEST_F(ConfigManagerTest, SeveralWritesArriveAsOneBatchPerRegistration) {
  ConfigManager* manager = ConfigManager::Instance();
  ASSERT_GE(manager->registerMultiConfigPathsChangeCallback({"/w/a", "w/b", "w/c"}, Record), 0);
  ASSERT_GE(manager->registerMultiConfigPathsChangeCallback({"w/c"}, RecordOther), 0);
  EXPECT_EQ(-1, manager->registerMultiConfigPathsChangeCallback({"w/a"}, nullptr));
  EXPECT_EQ(-1, manager->registerMultiConfigPathsChangeCallback({}, Record));

  for (const char* path : {"w/b", "w/a", "w/b", "w/unwatched"}) ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path, "1"));
  EXPECT_EQ(1, manager->dispatchPending());  // only the first registration has news
  ASSERT_EQ(1u, Batches().size());
  EXPECT_EQ((std::vector<std::string>{"w/b", "w/a"}), Batches()[0]);

  EXPECT_EQ(0, manager->dispatchPending());  // nothing new
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("/w/c", "same value twice counts"));
  EXPECT_EQ(2, manager->flushChangeNotificationMsg());
  ASSERT_EQ(3u, Batches().size());
  EXPECT_EQ((std::vector<std::string>{"w/c"}), Batches()[1]);
  EXPECT_EQ((std::vector<std::string>{"w/c"}), Batches()[2]);

  // A deletion is announced like a write; deleting nothing is not.
  EXPECT_EQ(VM_CFG_NOT_FOUND, vmCfgDeleteParam("w/never"));
  ASSERT_EQ(VM_CFG_OK, vmCfgDeleteParam("/w/a"));
  char value[8];
  EXPECT_EQ(VM_CFG_NOT_FOUND, vmCfgGetParam("w/a", value, sizeof value));
  EXPECT_EQ(1, manager->dispatchPending());
  ASSERT_EQ(4u, Batches().size());
  EXPECT_EQ((std::vector<std::string>{"w/a"}), Batches()[3]);
}

// A callback that writes and flushes is not re-entered; its writes are
// delivered in later rounds of the same dispatch, and a callback that always
// writes cannot keep the dispatch going for ever.
int WriteBack(char** paths, int count) {
  ++g_depth;
  if (g_depth > g_max_depth) g_max_depth = g_depth;
  Record(paths, count);
  vmCfgSetParam("loop/path", "again");
  ConfigManager::Instance()->flushChangeNotificationMsg();
  --g_depth;
  return 0;
}

TEST_F(ConfigManagerTest, CallbacksThatWriteDoNotRecurse) {
  ConfigManager* manager = ConfigManager::Instance();
  ASSERT_GE(manager->registerMultiConfigPathsChangeCallback({"loop/path"}, WriteBack), 0);
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("loop/path", "start"));
  EXPECT_EQ(8, manager->dispatchPending());
  EXPECT_EQ(1, g_max_depth);
  EXPECT_EQ(8u, Batches().size());
  // The last write is still pending, not lost: the next dispatch goes on.
  EXPECT_EQ(8, manager->dispatchPending());
  EXPECT_EQ(16u, Batches().size());
}

TEST_F(ConfigManagerTest, AProcessThatFellBehindGetsEveryWatchedPath) {
  ConfigManager* manager = ConfigManager::Instance();
  ASSERT_GE(manager->registerMultiConfigPathsChangeCallback({"watched/one", "watched/two"}, Record), 0);
  // Enough writes elsewhere to prune the journal past this process's cursor.
  for (int i = 0; i < 4700; ++i) ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("noise", std::to_string(i).c_str()));
  EXPECT_EQ(1, manager->dispatchPending());
  ASSERT_EQ(1u, Batches().size());
  EXPECT_EQ((std::vector<std::string>{"watched/one", "watched/two"}), Batches()[0]);
  EXPECT_EQ(0, manager->dispatchPending());
}

void WriteFromChild(const char* path, const char* value) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(vmCfgSetParam(path, value) == VM_CFG_OK ? 0 : 1);
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFEXITED(status));
  ASSERT_EQ(0, WEXITSTATUS(status));
}

TEST_F(ConfigManagerTest, WritesOfAnotherProcessWakeAWaiterAndAreDelivered) {
  ConfigManager* manager = ConfigManager::Instance();
  ASSERT_GE(manager->registerMultiConfigPathsChangeCallback({"shared/key"}, Record), 0);
  EXPECT_EQ(0, manager->waitForChange(50));  // nothing written: a time-out
  WriteFromChild("shared/key", "from child");
  EXPECT_EQ(1, manager->waitForChange(5000));
  EXPECT_EQ(1, manager->dispatchPending());
  ASSERT_EQ(1u, Batches().size());
  EXPECT_EQ("shared/key", Batches()[0][0]);
  char value[32];
  ASSERT_EQ(VM_CFG_OK, vmCfgGetParam("shared/key", value, sizeof value));
  EXPECT_STREQ("from child", value);
}

TEST_F(ConfigManagerTest, DeliveryThreadCallsBackForAnotherProcessWrites) {
  ConfigManager* manager = ConfigManager::Instance();
  ASSERT_GE(manager->registerMultiConfigPathsChangeCallback({"shared/key"}, Record), 0);
  ASSERT_TRUE(manager->startDeliveryThread());
  EXPECT_FALSE(manager->startDeliveryThread());
  WriteFromChild("shared/key", "from child");
  {
    std::unique_lock<std::mutex> lock(g_mutex);
    EXPECT_TRUE(g_changed.wait_for(lock, std::chrono::seconds(10), [] { return !g_batches.empty(); }));
  }
  manager->stopDeliveryThread();
  EXPECT_EQ((std::vector<std::string>{"shared/key"}), Batches().at(0));
}

}  // namespace

namespace {

// A manager made while the database cannot be read (another process is still
// creating it) must not lose the writes made before its first dispatch.
TEST(ConfigManagerStart, WritesBeforeTheFirstDispatchAreDeliveredEvenIfTheStartWasBlind) {
  TempDatabase db;
  ASSERT_EQ(VM_CFG_ERROR, vmCfgUseDatabase(db.directory().c_str()));  // unreadable for now
  ConfigManager* manager = ConfigManager::Instance();
  ASSERT_EQ(VM_CFG_OK, vmCfgUseDatabase(nullptr));
  ASSERT_GE(manager->registerMultiConfigPathsChangeCallback({"early/write"}, Record), 0);
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("early/write", "1"));
  EXPECT_EQ(1, manager->dispatchPending());
  ASSERT_EQ(1u, Batches().size());
  EXPECT_EQ("early/write", Batches()[0][0]);
}

}  // namespace
