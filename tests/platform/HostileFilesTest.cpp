// Files from outside: every reader refuses FIFOs, devices and files over its
// cap without hanging; every writer leaves planted links alone
// and sets its modes whatever the umask; the database and its key are
// refused in places others control.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <tuple>

#include "peripherals/PeripheralDevices.h"
#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "platform/vmFile.h"
#include "security/SignatureVerifier.h"
#include "state/SCEPEnrollUtility.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"
#include "support/TestPki.h"

namespace {

std::string Join(const std::string& dir, const char* name) { return dir + "/" + name; }

struct Door {
  const char* name;
  size_t cap;  // 0: streamed, no cap
  void (*run)(std::string& input);
};

// One door per kind of reader: capped (certificates, JSON documents) and streamed.
const Door kDoors[] = {
    {"certificate", VM_FILE_CAP_CERTIFICATE, [](std::string& in) { cert_crypto_destroy(get_certificate(in.c_str())); }},
    {"signed_file", 0, [](std::string& in) { extract_signature(in.c_str(), (in + ".sig").c_str()); }},
    {"json", VM_FILE_CAP_JSON, [](std::string& in) { ReleaseFWInfo info; GetDetailInfoFromReleaseJson(in, info); }},
};

void PrintTo(const Door& door, std::ostream* os) { *os << door.name; }

enum Kind { kFifo, kDevice, kAtCap, kOverCap };  // a streamed door gets 0 and 1 bytes for the last two
const char* const kKindNames[] = {"Fifo", "Device", "AtCap", "OverCap"};

// Each test runs on a database of its own; a door or writer only uses its folder.
template <typename Param>
struct OnDatabase : testing::TestWithParam<Param> {
  TempDatabase db_;
};

using HostileInput = OnDatabase<std::tuple<Door, int>>;

// The door runs in a child that SIGALRM kills if it blocks; the child's exit
// status tells how many lines refused the file, and how many of them for its size.
TEST_P(HostileInput, IsRefusedQuickly) {
  const Door& door = std::get<0>(GetParam());
  const int kind = std::get<1>(GetParam());
  std::string path = Join(db_.directory(), "input");
  ASSERT_TRUE(kind != kFifo || mkfifo(path.c_str(), 0600) == 0);
  ASSERT_TRUE(kind != kDevice || symlink("/dev/zero", path.c_str()) == 0);
  ASSERT_TRUE(kind <= kDevice || testpki::WriteFile(path, std::string(door.cap + (kind == kOverCap), 'A')));
  const pid_t child = fork();
  if (child == 0) {
    LogCapture log;
    alarm(kind <= kDevice ? 1 : 20);
    door.run(path);
    int refusals = 0, too_large = 0;
    for (const CapturedLine& line : log.lines()) {
      auto mentions = [&](vmFileStatus status) { return line.text.find(vmFileStatusText(status)) != std::string::npos; };
      refusals += mentions(VM_FILE_TOO_LARGE) || mentions(VM_FILE_NOT_REGULAR) || mentions(VM_FILE_LINK);
      too_large += mentions(VM_FILE_TOO_LARGE);
    }
    _exit(10 * refusals + too_large);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status)) << "the door blocked or crashed";
  EXPECT_EQ(kind <= kDevice ? 10 : kind == kOverCap && door.cap > 0 ? 11 : 0, WEXITSTATUS(status));
}

INSTANTIATE_TEST_SUITE_P(Doors, HostileInput, testing::Combine(testing::ValuesIn(kDoors), testing::Range(0, 4)),
                         [](const testing::TestParamInfo<HostileInput::ParamType>& info) {
                           return std::string(std::get<0>(info.param).name) + "_" + kKindNames[std::get<1>(info.param)];
                         });

// A file whose size the system reports as 0 (a /proc file) is still read
// only up to its cap, and a refused or missing one leaves no bytes behind.
TEST(FileRead, StaleSizesAreCappedWhileReadingAndRefusalsLeaveNothing) {
  std::string out = "stale";
  EXPECT_EQ(VM_FILE_MISSING, vmFileRead("/nonexistent/file", 100, 0, &out));
  EXPECT_EQ("", out);
  out = "stale";
  EXPECT_EQ(VM_FILE_TOO_LARGE, vmFileRead("/proc/self/maps", 100, 0, &out));
  EXPECT_EQ("", out);
  EXPECT_EQ(VM_FILE_OK, vmFileRead("/proc/self/maps", 1 << 20, 0, &out));
  EXPECT_GT(out.size(), 100u);
}

// Writers: a link planted at the name they write leaves its victim as it
// was, and what they write gets its own mode under umask 000.
struct Writer {
  const char* name;
  mode_t mode;          // of the target afterwards; 0: the writer must refuse
  const char* target;   // in the test's folder
  const char* planted;  // where a link is planted; "PID" stands for the process id
  void (*run)(const std::string& dir, const std::string& target);
};

// Longer than a device key, so a key read through a link would be taken.
const std::string kVictim(64, 'v');

int EncryptSomething() {
  char stored[256];
  return VM_Encrypt_Path_Param("a/b", "x", stored, sizeof stored);
}

const Writer kWriters[] = {
    // Where a predictable temporary name used to be.
    {"new_device_key", 0600, "device.key", "device.key.new.PID",
     [](const std::string&, const std::string&) { EXPECT_EQ(0, EncryptSomething()); }},
    {"device_key_is_a_link", 0, "device.key", "device.key",
     [](const std::string&, const std::string&) { EXPECT_EQ(-1, EncryptSomething()); }},
    {"any_output", 0640, "out", "out",
     [](const std::string&, const std::string& target) { EXPECT_EQ(0, vmFileWrite(target.c_str(), "new", 3, 0640, 0)); }},
};

void PrintTo(const Writer& writer, std::ostream* os) { *os << writer.name; }

struct PlantedLinks : OnDatabase<Writer> {
  void SetUp() override { saved_umask_ = umask(0); }
  void TearDown() override { umask(saved_umask_); }
  mode_t saved_umask_ = 0;
};

TEST_P(PlantedLinks, LeaveTheirVictimsAlone) {
  const Writer& writer = GetParam();
  const std::string dir = db_.directory();
  const std::string victim = dir + "/victims/0";  // a folder of their own: the database folder is private
  ASSERT_EQ(0, mkdir((dir + "/victims").c_str(), 0700));
  ASSERT_TRUE(testpki::WriteFile(victim, kVictim));
  ASSERT_NE(nullptr, g699());  // opening the database seeds the key first
  unlink(Join(dir, "device.key").c_str());  // the key is made afresh, or replaced by a link
  std::string planted = writer.planted;
  if (planted.find("PID") != std::string::npos) planted.replace(planted.find("PID"), 3, std::to_string(getpid()));
  ASSERT_EQ(0, symlink(victim.c_str(), Join(dir, planted.c_str()).c_str()));
  const std::string target = Join(dir, writer.target);
  writer.run(dir, target);
  EXPECT_EQ(kVictim, testpki::ReadFile(victim));
  struct stat info;
  ASSERT_EQ(0, lstat(target.c_str(), &info));
  EXPECT_TRUE(writer.mode == 0 || (S_ISREG(info.st_mode) && writer.mode == (info.st_mode & 07777)));
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {  // no temporary file is left behind
    EXPECT_NE('.', entry.path().filename().string()[0]) << entry.path();
  }
}

INSTANTIATE_TEST_SUITE_P(Writers, PlantedLinks, testing::ValuesIn(kWriters),
                         [](const testing::TestParamInfo<Writer>& info) { return std::string(info.param.name); });

// The database folder and the device key are refused when others own or
// may change them, and there is no shared fallback location.
struct Tamper {
  const char* name;
  const char* file;  // in the database folder, "" the folder itself; null: no location is set at all
  int mode;          // given to it; 0: given to another user instead (needs root); -1: a link put there
};

const Tamper kTampers[] = {{"group_writable_folder", "", 0720}, {"foreign_folder", "", 0}, {"group_key", "device.key", 0640},
                           {"foreign_key", "device.key", 0},     {"key_link", "device.key", -1}, {"no_location", nullptr, -1}};

void PrintTo(const Tamper& tamper, std::ostream* os) { *os << tamper.name; }

using TamperedStore = OnDatabase<Tamper>;

TEST_P(TamperedStore, IsRefusedWithThePathAndTheFix) {
  const Tamper& tamper = GetParam();
  if (tamper.mode == 0 && geteuid() != 0) GTEST_SKIP() << "needs root to give files away";
  const std::string stored = g78();  // seeds the database and the key
  char plain[64];
  ASSERT_EQ(0, VM_Decrypt_Param(stored.c_str(), plain, sizeof plain));
  const std::string dir = db_.directory();
  std::string named = tamper.file == nullptr ? "VM_CFG_DB, XDG_STATE_HOME or HOME" : *tamper.file ? Join(dir, tamper.file) : dir;
  if (tamper.file == nullptr) {
    for (const char* name : {"VM_CFG_DB", "XDG_STATE_HOME", "HOME"}) unsetenv(name);
  } else if (tamper.mode > 0) {
    ASSERT_EQ(0, chmod(named.c_str(), static_cast<mode_t>(tamper.mode)));
  } else if (tamper.mode == 0) {
    ASSERT_EQ(0, chown(named.c_str(), 12345, 12345));
  } else {
    ASSERT_EQ(0, rename(named.c_str(), Join(dir, "moved.key").c_str()));
    ASSERT_EQ(0, symlink("moved.key", named.c_str()));
  }
  LogCapture log;
  EXPECT_FALSE(vmCfgUseDatabase(nullptr) == VM_CFG_OK && VM_Decrypt_Param(stored.c_str(), plain, sizeof plain) == 0);
  EXPECT_TRUE(log.Contains(LOG_ERR, named));
  chmod(dir.c_str(), 0700);
}

INSTANTIATE_TEST_SUITE_P(Places, TamperedStore, testing::ValuesIn(kTampers),
                         [](const testing::TestParamInfo<Tamper>& info) { return std::string(info.param.name); });

}  // namespace
