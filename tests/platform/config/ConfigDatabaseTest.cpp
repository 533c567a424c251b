#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "platform/vmCfg.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

std::string Read(const char* path) {
  char value[512];
  const int rc = vmCfgGetParam(path, value, sizeof value);
  return rc == VM_CFG_OK ? std::string(value) : "<" + std::to_string(rc) + ">";
}

class ConfigDatabase : public testing::Test {
 protected:
  TempDatabase db_;
};

TEST_F(ConfigDatabase, StoredValuesDefaultsAndMissingPaths) {
  EXPECT_STREQ("lobby-desk-phone", g699());  // seeded profile
  EXPECT_EQ("", Read("status/alarm/3/name"));  // schema default, nothing stored
  EXPECT_EQ(0, g678(3));
  EXPECT_EQ(1, g706());  // default of a number
  EXPECT_EQ("<-2>", Read("no/such/path"));

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("/no/such/path", "now stored"));
  EXPECT_EQ("now stored", Read("no/such/path"));
  EXPECT_EQ("now stored", Read("/no/such/path"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("no/such/path", ""));
  EXPECT_EQ("", Read("no/such/path"));  // empty, not missing

  struct stat info;
  ASSERT_EQ(0, stat(db_.path().c_str(), &info));
  EXPECT_EQ(0600u, info.st_mode & 0777);
}

TEST_F(ConfigDatabase, OperatorsSeeAPlainPathValueTable) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("/a/b", "v"));
  sqlite3* raw = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(db_.path().c_str(), &raw));
  sqlite3_stmt* stmt = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_prepare_v2(raw, "SELECT path, value FROM params WHERE path = 'a/b'", -1, &stmt, nullptr));
  ASSERT_EQ(SQLITE_ROW, sqlite3_step(stmt));
  EXPECT_STREQ("v", reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1)));
  sqlite3_finalize(stmt);
  ASSERT_EQ(SQLITE_OK, sqlite3_prepare_v2(raw, "PRAGMA journal_mode", -1, &stmt, nullptr));
  ASSERT_EQ(SQLITE_ROW, sqlite3_step(stmt));
  EXPECT_STREQ("wal", reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
  sqlite3_finalize(stmt);
  sqlite3_close(raw);
}

TEST_F(ConfigDatabase, BadArgumentsAndBuffersThatDoNotFit) {
  LogCapture log;
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("long/value", "0123456789"));
  char small[5] = {'#', '#', '#', '#', '#'};
  EXPECT_EQ(VM_CFG_TOO_LONG, vmCfgGetParam("long/value", small, 4));
  EXPECT_STREQ("012", small);
  EXPECT_EQ('#', small[4]);
  EXPECT_TRUE(log.Contains(LOG_WARNING, "does not fit 4 bytes"));

  char value[16];
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgGetParam(nullptr, value, sizeof value));
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgGetParam("a", nullptr, 4));
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgGetParam("a", value, 0));
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgSetParam("/", "x"));
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgSetParam("a", nullptr));
  EXPECT_EQ(VM_CFG_TOO_LONG, vmCfgSetParam(std::string(2000, 'p').c_str(), "x"));

  // Slots out of range are refused, never formatted into another slot.
  EXPECT_EQ(nullptr, g676(20));
  EXPECT_EQ(nullptr, g676(-1));
  EXPECT_EQ(VM_CFG_BAD_ARG, s2356("x", 20));
  EXPECT_TRUE(log.Contains(LOG_ERR, "Index 20 out of range for status/alarm/%d/name"));

  // Typed parameters refuse text of another type and keep their value.
  ASSERT_EQ(VM_CFG_OK, s2358(3, 1));
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgSetParam("status/alarm/1/severity", "high"));
  EXPECT_EQ(3, g678(1));
  EXPECT_EQ(VM_CFG_BAD_ARG, vmCfgSetParam("status/peripheral/device/2/type", "TOASTER"));
  EXPECT_EQ(VM_CFG_BAD_ARG, s2362(9, 0));
  EXPECT_TRUE(log.Contains(LOG_ERR, "not a value of its type"));
}

// Each setter writes the slot path that its getter reads, and no other.
TEST_F(ConfigDatabase, NumberedAccessorsAddressTheirSlots) {
  struct Field {
    const char* key;
    const char* (*get_text)(int);
    int (*set_text)(const char*, int);
    int (*get_number)(int);
    int (*set_number)(int, int);
  };
  const Field alarm_fields[] = {
      {"additionalInfo1", g671, s2351, nullptr, nullptr}, {"additionalInfo2", g672, s2352, nullptr, nullptr},
      {"category", g673, s2353, nullptr, nullptr},        {"description", g674, s2354, nullptr, nullptr},
      {"confirmation_received", nullptr, nullptr, g675, s2355},
      {"name", g676, s2356, nullptr, nullptr},            {"probable_cause", nullptr, nullptr, g677, s2357},
      {"severity", nullptr, nullptr, g678, s2358},        {"source_component", g679, s2359, nullptr, nullptr},
      {"time", g680, s2360, nullptr, nullptr},            {"type", nullptr, nullptr, g681, s2361},
      {"ui_notification", nullptr, nullptr, g682, s2362},
  };
  const Field event_fields[] = {
      {"additionalInfo1", g803, s2483, nullptr, nullptr}, {"additionalInfo2", g804, s2484, nullptr, nullptr},
      {"category", g805, s2485, nullptr, nullptr},        {"description", g806, s2486, nullptr, nullptr},
      {"confirmation_received", nullptr, nullptr, g807, s2487},
      {"name", g808, s2488, nullptr, nullptr},            {"probable_cause", nullptr, nullptr, g809, s2489},
      {"severity", nullptr, nullptr, g810, s2490},        {"source_component", g811, s2491, nullptr, nullptr},
      {"time", g812, s2492, nullptr, nullptr},            {"type", nullptr, nullptr, g813, s2493},
      {"ui_notification", nullptr, nullptr, g814, s2494},
  };
  const struct {
    const char* table;
    const Field* fields;
  } tables[] = {{"alarm", alarm_fields}, {"event", event_fields}};
  for (const auto& table : tables) {
    for (int f = 0; f < 12; ++f) {
      const Field& field = table.fields[f];
      for (int slot : {0, 7, 19}) {
        const int number = 2 + (slot + f) % 3;  // a valid ui notification value too
        const std::string text = std::string(table.table) + field.key + std::to_string(slot);
        ASSERT_EQ(VM_CFG_OK, field.set_text ? field.set_text(text.c_str(), slot) : field.set_number(number, slot));
        char path[128];
        std::snprintf(path, sizeof path, "status/%s/%d/%s", table.table, slot, field.key);
        if (field.get_text) {
          EXPECT_STREQ(text.c_str(), field.get_text(slot)) << path;
          EXPECT_EQ(text, Read(path));
        } else {
          EXPECT_EQ(number, field.get_number(slot)) << path;
        }
      }
      // The slot next to a written one keeps its default.
      if (field.get_text) {
        EXPECT_STREQ("", field.get_text(8)) << field.key;
      } else {
        EXPECT_EQ(0, field.get_number(8)) << field.key;
      }
    }
  }
}

TEST_F(ConfigDatabase, EnumerationsOfTheSchema) {
  const vmCfgParam* type = vmCfgFindParameterByPath("status/peripheral/device/0/type");
  const vmCfgParam* hw = vmCfgFindParameterByPath("/status/peripheral/device/0/hw_type");
  ASSERT_NE(nullptr, type);
  ASSERT_NE(nullptr, hw);
  EXPECT_EQ(type, vmCfgFindParameterByPath("status/peripheral/device/10/type"));
  EXPECT_EQ(nullptr, vmCfgFindParameterByPath("status/peripheral/device/11/type"));
  for (const char* odd : {"status/peripheral/device/01/type", "status/peripheral/device/-1/type",
                          "status/peripheral/device/%d/typ", "status/peripheral/device/1/type/"}) {
    EXPECT_EQ(nullptr, vmCfgFindParameterByPath(odd)) << odd;
  }
  EXPECT_EQ(nullptr, vmCfgFindParameterByPath(nullptr));
  EXPECT_EQ(VM_PERIPHERAL_TYPE_VIDEO, vmCfgStrToEnum(type, "VIDEO"));
  EXPECT_EQ(VM_PERIPHERAL_TYPE_DISPLAY, vmCfgStrToEnum(type, "DISPLAY"));
  EXPECT_EQ(VM_PERIPHERAL_TYPE_HEADSET, vmCfgStrToEnum(type, "HEADSET"));
  EXPECT_GT(0, vmCfgStrToEnum(type, "USB"));
  EXPECT_GT(0, vmCfgStrToEnum(type, "video"));
  EXPECT_GT(0, vmCfgStrToEnum(type, "6"));  // numbers are not names
  for (const char* name : {"USB", "HDMI", "DISPLAYPORT", "BLUETOOTH"}) {
    const int value = vmCfgStrToEnum(hw, name);
    EXPECT_GT(value, 0) << name;
    EXPECT_STREQ(name, vmCfgEnumToStr(hw, value));
  }
  EXPECT_GT(0, vmCfgStrToEnum(nullptr, "USB"));
  EXPECT_GT(0, vmCfgStrToEnum(vmCfgFindParameterByPath("device/name"), "USB"));

  // Enumerations are stored by name and read back as values.
  ASSERT_EQ(VM_CFG_OK, s2362(VM_UI_NOTIFICATION_DEVICE_AND_REMOTE, 5));
  EXPECT_EQ("device_and_remote", Read("status/alarm/5/ui_notification"));
  EXPECT_EQ(4, g682(5));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("status/alarm/6/ui_notification", "3"));
  EXPECT_EQ(3, g682(6));
}

TEST_F(ConfigDatabase, IterationWalksAPrefixInPathOrder) {
  for (const char* path : {"keys/b", "keys/a/2", "keys/a/10", "keysx", "keys", "other/keys/a"}) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path, path));
  }
  std::vector<std::string> seen;
  vmCfgIter* it = vmCfgIterStartPath("/keys/");
  ASSERT_NE(nullptr, it);
  for (const char* path = vmCfgIterGetData(it); path != nullptr; vmCfgIterNext(it), path = vmCfgIterGetData(it)) {
    char value[64];
    ASSERT_EQ(VM_CFG_OK, vmCfgIterGetValue(it, value, sizeof value));
    EXPECT_STREQ(path, value);
    seen.push_back(path);
    if (seen.size() == 1) {
      ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("keys/c", "keys/c"));  // after the read-ahead: not seen
    }
  }
  EXPECT_EQ(1, vmCfgIterNext(it));
  vmCfgIterEnd(it);
  EXPECT_EQ((std::vector<std::string>{"keys/a/10", "keys/a/2", "keys/b"}), seen);

  // Walks longer than one read-ahead batch see every entry once, in order,
  // first as paths alone, then, from the first value asked for, with values;
  // an entry removed before its value was read has none.
  constexpr int kMany = 300;
  constexpr int kRemoved = 150;
  for (int i = 0; i < kMany; ++i) {
    char path[32];
    std::snprintf(path, sizeof path, "many/%03d", i);
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path, path));
  }
  int count = 0;
  it = vmCfgIterStartPath("many/");
  for (const char* path = vmCfgIterGetData(it); path != nullptr; vmCfgIterNext(it), path = vmCfgIterGetData(it)) {
    char expected[32];
    std::snprintf(expected, sizeof expected, "many/%03d", count++);
    ASSERT_STREQ(expected, path);
    if (count - 1 < kRemoved) continue;
    char value[32];
    if (count - 1 == kRemoved) {
      ASSERT_EQ(VM_CFG_OK, vmCfgDeleteParam(path));
      EXPECT_EQ(VM_CFG_NOT_FOUND, vmCfgIterGetValue(it, value, sizeof value));
      EXPECT_STREQ(expected, vmCfgIterGetData(it));
    } else {
      ASSERT_EQ(VM_CFG_OK, vmCfgIterGetValue(it, value, sizeof value));
      EXPECT_STREQ(expected, value);
    }
  }
  vmCfgIterEnd(it);
  EXPECT_EQ(kMany, count);

  it = vmCfgIterStartPath("nothing/here/");
  ASSERT_NE(nullptr, it);
  EXPECT_EQ(nullptr, vmCfgIterGetData(it));
  char value[4];
  EXPECT_EQ(VM_CFG_NOT_FOUND, vmCfgIterGetValue(it, value, sizeof value));
  vmCfgIterEnd(it);

  it = vmCfgIterStartPath("keys/b");
  ASSERT_NE(nullptr, it);
  EXPECT_EQ(VM_CFG_TOO_LONG, vmCfgIterGetValue(it, value, sizeof value));
  EXPECT_STREQ("key", value);
  vmCfgIterEnd(it);
}

TEST(ConfigDatabaseFaults, CorruptFileFailsCleanlyAndIsReported) {
  TempDatabase db;
  {
    std::ofstream garbage(db.path(), std::ios::binary);
    garbage << std::string(8192, 'x');
  }
  LogCapture log;
  char value[16];
  EXPECT_EQ(VM_CFG_ERROR, vmCfgGetParam("device/name", value, sizeof value));
  EXPECT_EQ(VM_CFG_ERROR, vmCfgSetParam("device/name", "x"));
  EXPECT_EQ(nullptr, g699());
  EXPECT_EQ(nullptr, vmCfgIterStartPath("device/"));
  EXPECT_TRUE(log.Contains(LOG_ERR, "is unusable"));
}

TEST(ConfigDatabaseFaults, UnopenablePathFailsCleanly) {
  TempDatabase db;
  ASSERT_EQ(VM_CFG_ERROR, vmCfgUseDatabase(db.directory().c_str()));  // a directory
  char value[64];
  EXPECT_EQ(VM_CFG_ERROR, vmCfgGetParam("device/name", value, sizeof value));
  ASSERT_EQ(VM_CFG_OK, vmCfgUseDatabase(nullptr));  // back to VM_CFG_DB
  EXPECT_EQ(VM_CFG_OK, vmCfgGetParam("device/name", value, sizeof value));
}

// A process that starts while another holds the write lock still opens and
// reads; only its write waits, and fails at the busy timeout.
TEST(ConfigDatabaseFaults, ReadersNeverWaitForAWriter) {
  TempDatabase db;
  setenv("VM_CFG_BUSY_TIMEOUT_MS", "50", 1);
  ASSERT_TRUE(MakeSampleDatabase(db.path(), 1));
  sqlite3* other = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(db.path().c_str(), &other));
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "BEGIN IMMEDIATE; INSERT INTO params VALUES('x', 'y');", nullptr,
                                    nullptr, nullptr));
  LogCapture log;
  EXPECT_EQ(SampleValue(0), Read("p/0000"));  // the first call of this process opens the file
  EXPECT_EQ(VM_CFG_ERROR, vmCfgSetParam("p/0000", "during"));
  EXPECT_TRUE(log.Contains(LOG_ERR, "Cannot write p/0000"));
  EXPECT_EQ(SampleValue(0), Read("p/0000"));
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr));
  sqlite3_close(other);
  EXPECT_EQ(VM_CFG_OK, vmCfgSetParam("p/0000", "after"));
  EXPECT_EQ("after", Read("p/0000"));
}

int ErrorLines(const LogCapture& log) {
  int count = 0;
  for (const CapturedLine& line : log.lines()) count += line.level <= LOG_ERR ? 1 : 0;
  return count;
}

// A valid database with one page overwritten: every call fails or succeeds
// cleanly (a damaged value may read as its bytes), each failing kind of call
// is logged once, nothing crashes.
TEST(ConfigDatabaseFaults, ADamagedPageFailsReadsAndWritesWithOneLineEach) {
  TempDatabase db;
  constexpr int kRows = 400;
  ASSERT_TRUE(MakeSampleDatabase(db.path(), kRows));
  ASSERT_TRUE(DamageMiddlePage(db.path()));
  LogCapture log;
  std::string damaged;
  int failed = 0;
  for (int i = 0; i < kRows; ++i) {
    char path[16];
    std::snprintf(path, sizeof path, "p/%04d", i);
    const std::string value = Read(path);
    if (value == "<-1>" && damaged.empty()) damaged = path;
    failed += value == "<-1>" ? 1 : 0;
  }
  ASSERT_FALSE(damaged.empty()) << "the damage reached no row";
  EXPECT_EQ(1, ErrorLines(log)) << failed << " reads failed";
  vmCfgIter* it = vmCfgIterStartPath("p/");
  for (int steps = 0; it != nullptr && vmCfgIterGetData(it) != nullptr && steps < 2 * kRows; ++steps) {
    if (vmCfgIterNext(it) < 0) break;
  }
  vmCfgIterEnd(it);
  const int before = ErrorLines(log);
  EXPECT_EQ(VM_CFG_ERROR, vmCfgSetParam(damaged.c_str(), "new"));
  EXPECT_EQ(1, ErrorLines(log) - before);
  EXPECT_TRUE(log.Contains(LOG_ERR, "Cannot write " + damaged));
}

// A file this process may only read, in a folder it may or may not write:
// reads work, a write or a batch (an alarm raise) fails with one line.
class ReadOnlyDatabase : public testing::TestWithParam<bool> {};

int ReadOnlyChecks() {
  LogCapture log;
  char value[128];
  if (vmCfgGetParam("p/0001", value, sizeof value) != VM_CFG_OK || SampleValue(1) != value) return 2;
  if (ErrorLines(log) != 0) return 3;
  if (vmCfgSetParam("p/0001", "x") != VM_CFG_ERROR || ErrorLines(log) != 1) return 4;
  if (!log.Contains(LOG_ERR, "Cannot write p/0001: the configuration database is read-only")) return 5;
  if (AlertManager_SetBasicAlert("A", "s", 1) != -1 || ErrorLines(log) > 3) return 6;
  return vmCfgGetParam("p/0002", value, sizeof value) == VM_CFG_OK ? 0 : 7;
}

TEST_P(ReadOnlyDatabase, ServesReadsAndFailsWritesWithOneLine) {
  TempDatabase db;
  ASSERT_TRUE(MakeSampleDatabase(db.path(), 3));
  const bool folderWritable = GetParam();
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // Root ignores permissions: the checks then run as nobody.
    const uid_t nobody = 65534;
    bool ok = true;
    if (geteuid() == 0) {
      ok = chown(db.path().c_str(), nobody, nobody) == 0 && chmod(db.directory().c_str(), 0755) == 0 &&
           (!folderWritable || chown(db.directory().c_str(), nobody, nobody) == 0) && setgid(nobody) == 0 &&
           setuid(nobody) == 0;
    } else {
      ok = chmod(db.directory().c_str(), folderWritable ? 0700 : 0500) == 0;
    }
    ok = ok && chmod(db.path().c_str(), 0400) == 0;
    _exit(ok ? ReadOnlyChecks() : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  chmod(db.directory().c_str(), 0700);
  EXPECT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
  EXPECT_EQ(0, WEXITSTATUS(status)) << "failed check (see ReadOnlyChecks)";
}

INSTANTIATE_TEST_SUITE_P(Folders, ReadOnlyDatabase, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& info) {
                           return info.param ? "WritableFolder" : "ReadOnlyFolder";
                         });

}  // namespace
