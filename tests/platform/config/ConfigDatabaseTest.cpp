// The configuration database: values, defaults, typed and numbered
// parameters, walks, and files that are damaged, locked or read-only.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "platform/config/ConfigReads.h"
#include "platform/vmCfg.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

int ErrorLines(const LogCapture& log) {
  int count = 0;
  for (const CapturedLine& line : log.lines()) count += line.level <= LOG_ERR ? 1 : 0;
  return count;
}

class ConfigDatabase : public testing::Test {
 protected:
  TempDatabase db_;
  LogCapture log_;
};

TEST_F(ConfigDatabase, ValuesDefaultsAndMissingPathsInAPrivatePlainTable) {
  EXPECT_STREQ("lobby-desk-phone", g699());    // seeded profile
  EXPECT_EQ("", Read("status/alarm/3/name"));  // schema default, nothing stored
  EXPECT_EQ("<-2>", Read("no/such/path"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("/a/b", "v"));
  EXPECT_EQ("v", Read("a/b"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("a/b", ""));
  EXPECT_EQ("", Read("/a/b"));  // empty, not missing
  struct stat info;
  ASSERT_EQ(0, stat(db_.path().c_str(), &info));
  EXPECT_EQ(0600u, info.st_mode & 0777);
  // Operators see a plain path/value table in WAL mode.
  EXPECT_EQ("1", RawSql(db_.path(), "SELECT count(*) FROM params WHERE path = 'a/b' AND value = ''"));
  EXPECT_EQ("wal", RawSql(db_.path(), "PRAGMA journal_mode"));
}

TEST_F(ConfigDatabase, BadArgumentsAndSizeEdgesFailWithOneAttributedLine) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("v", "0123456789"));
  ASSERT_EQ(VM_CFG_OK, s2358(3, 1));
  ASSERT_EQ("<none>", RawSql(db_.path(), "INSERT INTO params VALUES('status/alarm/2/severity', 'x')"));
  char value[12] = "###########";
  char other[4];
  EXPECT_EQ(VM_CFG_OK, vmCfgGetParam("v", value, 11));
  value[10] = '#';
  // Slots out of range are refused, never formatted into another slot; typed
  // parameters refuse text of another type, and read a stored misfit as
  // their default.
  const struct {
    int expected, got, level;
    const char *function, *line;
  } cases[] = {
      {VM_CFG_TOO_LONG, vmCfgGetParam("v", value, 10), LOG_WARNING, "CopyOut", "Value of v (10 bytes) does not fit 10 bytes"},
      {VM_CFG_BAD_ARG, vmCfgGetParam(nullptr, other, 4), LOG_ERR, "NormalizePath", "Null configuration path"},
      {VM_CFG_BAD_ARG, vmCfgGetParam("a", other, 0), LOG_ERR, "vmCfgGetParam", "No buffer to read a into"},
      {VM_CFG_BAD_ARG, vmCfgSetParam("a", nullptr), LOG_ERR, "vmCfgSetParam", "Null value for a"},
      {VM_CFG_OK, vmCfgSetParam(("/" + std::string(1024, 'p')).c_str(), "x"), 0, nullptr, "the longest path"},
      {VM_CFG_TOO_LONG, vmCfgSetParam(std::string(1025, 'p').c_str(), "x"), LOG_ERR, "NormalizePath", "1025 bytes is too long"},
      {0, g676(-1) != nullptr, LOG_ERR, "SlotPath", "Index -1 out of range for status/alarm/%d/name"},
      {VM_CFG_BAD_ARG, vmCfgSetParam("status/alarm/1/severity", "99999999999"), LOG_ERR, "WritePath", "Refused value for status/alarm/1/"},
      {VM_CFG_BAD_ARG, vmCfgSetParam("status/peripheral/device/2/type", "TOASTER"), LOG_ERR, "WritePath", "/2/type: not"},
      {VM_CFG_BAD_ARG, s2362(9, 0), LOG_ERR, "SetInt", "9 is not a value of status/alarm/%d/ui_notification"},
      {0, g678(2), LOG_ERR, "GetInt", "Stored value of status/alarm/2/severity is not of its type"},
      {3, g678(1), 0, nullptr, "a refused value leaves the stored one"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.expected, c.got) << c.line;
    EXPECT_TRUE(c.function == nullptr || log_.Logged(VM_LOG_MODULE_PLATFORM, c.level, "vmCfg", c.function, c.line)) << c.line;
  }
  EXPECT_EQ("012345678#", std::string(value) + value[10]);  // cut and ended inside the buffer
}

TEST_F(ConfigDatabase, EnumerationsAreStoredByNameAndReadAsValues) {
  const vmCfgParam* type = vmCfgFindParameterByPath("/status/peripheral/device/10/type");
  for (const char* odd : {"status/peripheral/device/11/type", "status/peripheral/device/01/type", "x"}) {
    EXPECT_EQ(nullptr, vmCfgFindParameterByPath(odd)) << odd;
  }
  EXPECT_EQ(VM_PERIPHERAL_TYPE_VIDEO, vmCfgStrToEnum(type, "VIDEO"));
  EXPECT_GT(0, vmCfgStrToEnum(type, "video"));
  EXPECT_EQ(0, vmCfgStrToEnum(vmCfgFindParameterByPath("status/alarm/0/ui_notification"), "disabled"));  // the first
  ASSERT_EQ(VM_CFG_OK, s2362(VM_UI_NOTIFICATION_DEVICE_AND_REMOTE, 5));
  EXPECT_EQ("device_and_remote", Read("status/alarm/5/ui_notification"));
  EXPECT_EQ(4, g682(5));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/alarm/6/ui_notification", "3"));  // a number stands for itself
  EXPECT_NE(VM_CFG_OK, vmCfgSetParam("status/alarm/6/ui_notification", "a"));  // in decimal only
  EXPECT_EQ(3, g682(6));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/alarm/6/ui_notification", "disabled"));  // the first name counts too
  EXPECT_EQ(VM_UI_NOTIFICATION_DISABLED, g682(6));
}

// Walks read ahead in batches: every entry once, in path order, first as
// paths alone, then with values; an entry removed before its value was read
// has none, and one written after the read-ahead is not seen.
TEST_F(ConfigDatabase, WalksSeeAPrefixOnceInPathOrder) {
  for (const char* path : {"keys/b", "keys/a/2", "keys/a/10", "keysx", "keys", "other/keys/a"}) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path, path));
  }
  for (int i = 0; i < 300; ++i) ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(("many/" + std::to_string(1000 + i)).c_str(), "v"));
  const struct {
    const char* prefix;
    size_t count;
    int removed;  // the entry deleted before its value is read
  } walks[] = {{"/keys/", 3, -1}, {"many/", 300, 150}, {"nothing/here/", 0, -1}};
  for (const auto& walk : walks) {
    std::vector<std::string> seen;
    vmCfgIter* it = vmCfgIterStartPath(walk.prefix);
    for (const char* path = vmCfgIterGetData(it); path != nullptr; vmCfgIterNext(it), path = vmCfgIterGetData(it)) {
      const int index = static_cast<int>(seen.size());
      seen.push_back(path);
      char value[64];
      if (index == walk.removed) {
        ASSERT_EQ(VM_CFG_OK, vmCfgDeleteParam(path));
        EXPECT_EQ(VM_CFG_NOT_FOUND, vmCfgIterGetValue(it, value, sizeof value));
      } else if (index > walk.removed) {  // paths alone until the first value
        ASSERT_EQ(VM_CFG_OK, vmCfgIterGetValue(it, value, sizeof value)) << path;
        EXPECT_STREQ(walk.removed < 0 ? path : "v", value);
      }
      if (index == 0) vmCfgSetParam("keys/c", "keys/c");
    }
    EXPECT_EQ(1, vmCfgIterNext(it));
    vmCfgIterEnd(it);
    ASSERT_EQ(walk.count, seen.size()) << walk.prefix;
    for (size_t i = 1; i < seen.size(); ++i) ASSERT_LT(seen[i - 1], seen[i]);
    EXPECT_TRUE(walk.count != 3 || seen == std::vector<std::string>({"keys/a/10", "keys/a/2", "keys/b"}));
  }
  vmCfgIter* it = vmCfgIterStartPath("keys/b");
  char value[4];
  EXPECT_EQ(VM_CFG_TOO_LONG, vmCfgIterGetValue(it, value, sizeof value));
  EXPECT_STREQ("key", value);
  vmCfgIterEnd(it);
}

TEST(ConfigDatabaseFaults, CorruptOrUnopenableFilesFailCleanlyWithOneLine) {
  TempDatabase db;
  std::ofstream(db.path(), std::ios::binary) << std::string(8192, 'x');
  LogCapture log;
  char value[64];
  EXPECT_EQ(VM_CFG_ERROR, vmCfgGetParam("device/name", value, sizeof value));
  EXPECT_EQ(VM_CFG_ERROR, vmCfgSetParam("device/name", "x"));
  EXPECT_EQ(nullptr, vmCfgIterStartPath("device/"));
  EXPECT_EQ(1, ErrorLines(log));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "ConfigStore", "OpenLocked", "is unusable"));
  EXPECT_EQ(VM_CFG_ERROR, vmCfgUseDatabase(db.directory().c_str()));  // a directory
  ASSERT_EQ(0, unlink(db.path().c_str()));
  ASSERT_EQ(VM_CFG_OK, vmCfgUseDatabase(nullptr));  // back to VM_CFG_DB, made afresh
  EXPECT_EQ(VM_CFG_OK, vmCfgGetParam("device/name", value, sizeof value));
}

// A process that starts while another holds the write lock opens and reads;
// only its write waits, and fails at the busy timeout.
TEST(ConfigDatabaseFaults, ReadersNeverWaitForAWriter) {
  TempDatabase db;
  setenv("VM_CFG_BUSY_TIMEOUT_MS", "50", 1);
  ASSERT_TRUE(MakeSampleDatabase(db.path(), 1));
  sqlite3* other = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(db.path().c_str(), &other));
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "BEGIN IMMEDIATE; INSERT INTO params VALUES('x', 'y');", 0, 0, 0));
  EXPECT_EQ(SampleValue(0), Read("p/0000"));  // this process's first call opens the file
  EXPECT_EQ(VM_CFG_ERROR, vmCfgSetParam("p/0000", "during"));
  sqlite3_close(other);  // rolls the other writer back
  EXPECT_EQ(VM_CFG_OK, vmCfgSetParam("p/0000", "after"));
}

// One page overwritten: every read that meets it fails (the first is logged),
// then a write of it fails with one more line; nothing crashes.
TEST(ConfigDatabaseFaults, ADamagedPageFailsReadsAndWritesWithOneLineEach) {
  TempDatabase db;
  ASSERT_TRUE(MakeSampleDatabase(db.path(), 400) && DamageMiddlePage(db.path()));
  LogCapture log;
  std::string damaged;
  for (int i = 0; i < 400; ++i) {
    const std::string path = "p/" + std::string(i < 10 ? "000" : i < 100 ? "00" : "0") + std::to_string(i);
    if (Read(path.c_str()) == "<-1>" && damaged.empty()) damaged = path;
  }
  ASSERT_FALSE(damaged.empty()) << "the damage reached no row";
  EXPECT_EQ(1, ErrorLines(log));
  EXPECT_EQ(VM_CFG_ERROR, vmCfgSetParam(damaged.c_str(), "new"));
  EXPECT_EQ(2, ErrorLines(log));
}

// A file this process may only read, in a folder it may or may not write:
// reads work, a write or a batch (an alarm raise) fails with one line.
int ReadOnlyChecks() {
  LogCapture log;
  if (Read("p/0001") != SampleValue(1) || ErrorLines(log) != 0) return 2;
  if (vmCfgSetParam("p/0001", "x") != VM_CFG_ERROR || ErrorLines(log) != 1) return 3;
  if (!log.Contains(LOG_ERR, "Cannot write p/0001: the configuration database is read-only")) return 4;
  if (AlertManager_SetBasicAlert("A", "s", 1) != -1 || ErrorLines(log) > 3) return 5;
  return Read("p/0002") == SampleValue(2) ? 0 : 6;
}

class ReadOnlyDatabase : public testing::TestWithParam<bool> {};

TEST_P(ReadOnlyDatabase, ServesReadsAndFailsWritesWithOneLine) {
  TempDatabase db;
  ASSERT_TRUE(MakeSampleDatabase(db.path(), 3));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const uid_t nobody = 65534;  // root ignores permissions: the checks then run as nobody
    const bool ok = geteuid() != 0 ? chmod(db.directory().c_str(), GetParam() ? 0700 : 0500) == 0
                                   : chown(db.path().c_str(), nobody, nobody) == 0 && chmod(db.directory().c_str(), 0755) == 0 &&
                                         (!GetParam() || chown(db.directory().c_str(), nobody, nobody) == 0) &&
                                         setgid(nobody) == 0 && setuid(nobody) == 0;
    _exit(ok && chmod(db.path().c_str(), 0400) == 0 ? ReadOnlyChecks() : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  chmod(db.directory().c_str(), 0700);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "failed check (see ReadOnlyChecks) " << status;
}

INSTANTIATE_TEST_SUITE_P(Folders, ReadOnlyDatabase, testing::Bool(), [](const testing::TestParamInfo<bool>& info) {
  return info.param ? "WritableFolder" : "ReadOnlyFolder";
});

}  // namespace
