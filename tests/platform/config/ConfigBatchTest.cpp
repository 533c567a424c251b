// Write batches: one thread's writes as one transaction, nesting and
// rollback, notifications after the commit, a killed writer, other threads.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"
#include "support/TempDatabase.h"

namespace {

std::vector<std::vector<std::string>> g_delivered;

int Record(char** paths, int count) {
  g_delivered.emplace_back(paths, paths + count);
  return 0;
}

// What another process sees: a connection of its own.
class Outside {
 public:
  explicit Outside(const std::string& path) { sqlite3_open(path.c_str(), &m_db); }
  ~Outside() { sqlite3_close(m_db); }
  std::string Get(const std::string& path) {
    std::string value = "<none>";
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(m_db, "SELECT value FROM params WHERE path = ?1", -1, &stmt, nullptr);
    sqlite3_bind_text(stmt, 1, path.c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(stmt) == SQLITE_ROW) value = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
    sqlite3_finalize(stmt);
    return value;
  }

 private:
  sqlite3* m_db = nullptr;
};

std::string Read(const char* path) {
  char value[64];
  return vmCfgGetParam(path, value, sizeof value) == VM_CFG_OK ? value : "<none>";
}

TEST(ConfigBatch, TheWritesOfABatchAreSeenTogetherAfterItsCommit) {
  TempDatabase db;
  ConfigManager* manager = ConfigManager::Instance();
  ASSERT_GE(manager->registerMultiConfigPathsChangeCallback({"b/1", "b/2"}, Record), 0);
  Outside other(db.path());
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("b/1", "one"));
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());  // nested: only the outermost commit counts
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("b/2", "two"));
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchCommit());
  EXPECT_EQ("two", Read("b/2"));  // the batch reads its own writes
  EXPECT_EQ("<none>", other.Get("b/1"));
  EXPECT_EQ("<none>", other.Get("b/2"));
  EXPECT_EQ(0, manager->dispatchPending());  // held until the commit
  EXPECT_TRUE(g_delivered.empty());
  ASSERT_EQ(VM_CFG_OK, vmCfgBatchCommit());  // delivers what was asked for inside
  EXPECT_EQ("one", other.Get("b/1"));
  EXPECT_EQ("two", other.Get("b/2"));
  ASSERT_EQ(1u, g_delivered.size());
  EXPECT_EQ((std::vector<std::string>{"b/1", "b/2"}), g_delivered[0]);
}

TEST(ConfigBatch, ARollbackAtAnyDepthDoomsTheWholeBatch) {
  TempDatabase db;
  struct Case {
    int depth;        // batches begun
    int rollbackAt;   // the depth at which one is rolled back
    bool writeAfter;  // a write after the rollback, still inside
  };
  const Case cases[] = {{1, 1, false}, {2, 2, true}, {2, 1, false}, {3, 2, true}};
  int n = 0;
  for (const Case& c : cases) {
    const std::string path = "doomed/" + std::to_string(n++);
    for (int d = 0; d < c.depth; ++d) ASSERT_EQ(VM_CFG_OK, vmCfgBatchBegin());
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path.c_str(), "x"));
    int open = c.depth;
    for (; open > c.rollbackAt; --open) ASSERT_EQ(VM_CFG_OK, vmCfgBatchCommit());
    ASSERT_EQ(VM_CFG_OK, vmCfgBatchRollback());
    --open;
    if (c.writeAfter) {
      EXPECT_EQ(VM_CFG_ERROR, vmCfgSetParam((path + "/after").c_str(), "y")) << path;
    }
    for (; open > 0; --open) EXPECT_EQ(VM_CFG_ERROR, vmCfgBatchCommit()) << path;
    EXPECT_EQ("<none>", Read(path.c_str()));
  }
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgBatchCommit());
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgBatchRollback());
  EXPECT_EQ(VM_CFG_OK, vmCfgSetParam("after/all", "z"));  // no batch is left open
  EXPECT_EQ("z", Read("after/all"));
}

TEST(ConfigBatch, AProcessKilledInsideABatchLeavesNothingOfIt) {
  TempDatabase db;
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("k/before", "kept"));
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    vmCfgBatchBegin();
    for (int i = 0; i < 50; ++i) vmCfgSetParam(("k/" + std::to_string(i)).c_str(), "cut");
    const char ready = 1;
    if (write(fds[1], &ready, 1) != 1) _exit(1);
    pause();
    _exit(0);
  }
  char ready = 0;
  ASSERT_EQ(1, read(fds[0], &ready, 1));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(fds[0]);
  close(fds[1]);
  Outside other(db.path());
  EXPECT_EQ("kept", other.Get("k/before"));
  EXPECT_EQ("<none>", other.Get("k/0"));
  EXPECT_EQ("<none>", other.Get("k/49"));
  EXPECT_EQ(VM_CFG_OK, vmCfgSetParam("k/after", "written"));  // the lock went with the process
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
  EXPECT_EQ("kept", Read("t/theirs"));
  EXPECT_EQ("<none>", Read("t/mine"));
}

}  // namespace
