// Files from outside: every reader refuses FIFOs, devices and files over its
// cap without hanging or growing; every writer leaves planted links alone
// and sets its modes whatever the umask; the database and its key are
// refused in places others control.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "peripherals/PeripheralDeviceRewriter.h"
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

// A certificate directory whose device certificate is issued by an
// intermediate that is not there, so the walk reads every CAcerts entry.
void MakeChainDirectory(const std::string& dir) {
  testpki::Key key = testpki::NewEcKey();
  testpki::Cert root = testpki::MakeCert(key.get(), testpki::CertSpec{"root"});
  testpki::Cert middle = testpki::MakeCert(key.get(), testpki::CertSpec{"middle"});
  testpki::CertSpec device_spec;
  device_spec.issuer = middle.get();
  device_spec.issuer_key = key.get();
  testpki::Cert device = testpki::MakeCert(key.get(), device_spec);
  ASSERT_TRUE(testpki::WriteCertPem(Join(dir, "CAROOT.crt"), root.get()));
  ASSERT_TRUE(testpki::WriteCertPem(Join(dir, "device.crt"), device.get()));
  ASSERT_EQ(0, mkdir(Join(dir, "CAcerts").c_str(), 0700));
}

struct Door {
  const char* name;
  size_t cap;  // 0: streamed, no cap
  std::function<std::string(const std::string& dir)> place;  // where the input goes
  std::function<void(const std::string& dir, const std::string& path)> run;
};

std::string Input(const std::string& dir) { return Join(dir, "input"); }

using DoorRun = std::function<void(const std::string& dir, const std::string& path)>;
template <typename F>
DoorRun OnPath(F f) {
  return [f](const std::string&, const std::string& path) { f(path.c_str()); };
}

const Door kDoors[] = {
    {"certificate", VM_FILE_CAP_CERTIFICATE, Input, OnPath([](const char* p) { cert_crypto_destroy(get_certificate(p)); })},
    {"pem_check", VM_FILE_CAP_CERTIFICATE, Input, OnPath(IsPemFile)},
    {"der_to_pem", VM_FILE_CAP_CERTIFICATE, Input, OnPath(ConvertCertToPemFile)},
    {"signing_certificate", VM_FILE_CAP_CERTIFICATE, Input,
     OnPath([](const char* p) { SignatureVerifier().initCertificate(p); })},
    {"signature", VM_FILE_CAP_SIGNATURE, Input, OnPath([](const char* p) { SignatureVerifier().initSignature(p); })},
    {"signed_file", 0, Input,
     [](const std::string& dir, const std::string& path) { extract_signature(path.c_str(), Join(dir, "sig").c_str()); }},
    {"digest", 0, Input, OnPath([](const char* p) { SignatureVerifier().generateDigest({p}); })},
    {"filters", VM_FILE_CAP_JSON, Input, OnPath([](const char* p) {
       PeripheralDeviceFiltersJson filters;
       std::string path = p;
       PeripheralDeviceRewriter::GetFilterListFromJsonFile(path, filters);
     })},
    {"release", VM_FILE_CAP_JSON, Input, OnPath([](const char* p) {
       ReleaseFWInfo info;
       std::string path = p;
       GetDetailInfoFromReleaseJson(path, info);
     })},
    {"chain_entry", VM_FILE_CAP_CERTIFICATE,
     [](const std::string& dir) {
       MakeChainDirectory(dir);
       return Join(dir, "CAcerts/entry");
     },
     [](const std::string& dir, const std::string&) { check_local_cert_chain(dir.c_str()); }},
};

enum class Kind { kFifo, kDevice, kAtCap, kOverCap };
const char* const kKindNames[] = {"Fifo", "Device", "AtCap", "OverCap"};

struct Case {
  const Door* door;
  Kind kind;
};

// Parameters print as their names, so test listings stay short.
void PrintTo(const Case& c, std::ostream* os) { *os << c.door->name; }

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  for (const Door& door : kDoors) {
    for (Kind kind : {Kind::kFifo, Kind::kDevice, Kind::kAtCap, Kind::kOverCap}) {
      if (door.cap > 0 || kind == Kind::kFifo || kind == Kind::kDevice) cases.push_back({&door, kind});
    }
  }
  return cases;
}

// What a child process saw while it handed the input to a door.
struct Outcome {
  int refusals = 0;    // log lines that refuse a file
  int too_large = 0;   // of which: over the cap
  long grown_kib = 0;  // growth of the peak resident size
};

long PeakKib() {
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

bool Mentions(const CapturedLine& line, vmFileStatus status) {
  return line.text.find(vmFileStatusText(status)) != std::string::npos;
}

// Runs `body` in a child that SIGALRM kills after `seconds`, so a door that
// blocks fails the test instead of hanging it. False when the child did not
// finish cleanly.
bool RunInChild(const std::function<void()>& body, unsigned seconds, Outcome* outcome) {
  int channel[2];
  if (pipe(channel) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    Outcome seen;
    {
      LogCapture log;
      const long before = PeakKib();
      alarm(seconds);
      body();
      alarm(0);
      seen.grown_kib = PeakKib() - before;
      for (const CapturedLine& line : log.lines()) {
        seen.too_large += Mentions(line, VM_FILE_TOO_LARGE);
        seen.refusals += Mentions(line, VM_FILE_TOO_LARGE) || Mentions(line, VM_FILE_NOT_REGULAR) ||
                         Mentions(line, VM_FILE_LINK);
      }
    }
    _exit(write(channel[1], &seen, sizeof seen) == static_cast<ssize_t>(sizeof seen) ? 0 : 1);
  }
  close(channel[1]);
  const bool got = read(channel[0], outcome, sizeof *outcome) == static_cast<ssize_t>(sizeof *outcome);
  close(channel[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return got && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class HostileInput : public testing::TestWithParam<Case> {
 protected:
  TempDatabase db_;
};

TEST_P(HostileInput, IsRefusedQuicklyWithoutGrowing) {
  const Door& door = *GetParam().door;
  const Kind kind = GetParam().kind;
  const std::string path = door.place(db_.directory());
  ASSERT_FALSE(HasFatalFailure());
  ASSERT_TRUE(kind != Kind::kFifo || mkfifo(path.c_str(), 0600) == 0);
  ASSERT_TRUE(kind != Kind::kDevice || symlink("/dev/zero", path.c_str()) == 0);
  if (kind == Kind::kAtCap || kind == Kind::kOverCap) {
    ASSERT_TRUE(testpki::WriteFile(path, std::string(door.cap + (kind == Kind::kOverCap), 'A')));
  }
  Outcome outcome;
  const bool special = kind == Kind::kFifo || kind == Kind::kDevice;
  ASSERT_TRUE(RunInChild([&] { door.run(db_.directory(), path); }, special ? 1 : 20, &outcome))
      << "the door blocked or crashed";
  EXPECT_EQ(kind == Kind::kAtCap ? 0 : 1, outcome.refusals);
  EXPECT_EQ(kind == Kind::kOverCap ? 1 : 0, outcome.too_large);
  EXPECT_LT(outcome.grown_kib, 32 * 1024);
}

INSTANTIATE_TEST_SUITE_P(Doors, HostileInput, testing::ValuesIn(AllCases()), [](const testing::TestParamInfo<Case>& info) {
  return std::string(info.param.door->name) + "_" + kKindNames[static_cast<int>(info.param.kind)];
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

// Writers: a link planted at every name they write leaves its victim as it
// was, and what they write gets its own mode under umask 000.
struct Writer {
  const char* name;
  mode_t mode;  // of the target afterwards; 0: the writer must refuse
  const char* target;
  std::vector<const char*> planted;  // names where links are planted
  std::function<void(const std::string& dir, const std::string& target)> run;
};

// A payload, a 12-byte signature and its length trailer; longer than a
// device key, so a key read through a link would be taken.
std::string SignedBytes() {
  std::string bytes = "payload of a signed file c2lnbmF0dXJl";
  bytes.push_back(12);
  return bytes.append(7, '\0');
}

int EncryptSomething(const std::string&, const std::string&) {
  char stored[256];
  return VM_Encrypt_Path_Param("a/b", "x", stored, sizeof stored);
}

const Writer kWriters[] = {
    {"der_to_pem", 0644, "c.crt", {"c.crt_tmp"},
     [](const std::string&, const std::string& target) {
       testpki::Key key = testpki::NewEcKey();
       EXPECT_TRUE(testpki::WriteCertDer(target, testpki::MakeCert(key.get(), testpki::CertSpec()).get()));
       ConvertCertToPemFile(target.c_str());
     }},
    {"signature_split", 0644, "fw.sig", {"fw.sig"},
     [](const std::string& dir, const std::string& target) {
       EXPECT_TRUE(testpki::WriteFile(Join(dir, "fw.bin"), SignedBytes()));
       EXPECT_EQ(0, extract_signature(Join(dir, "fw.bin").c_str(), target.c_str()));
     }},
    {"signed_file_is_a_link", 0, "fw.bin", {"fw.bin"},
     [](const std::string&, const std::string& target) {
       EXPECT_EQ(-1, extract_signature(target.c_str(), (target + ".sig").c_str()));
     }},
    // Where a predictable temporary name used to be.
    {"new_device_key", 0600, "device.key", {"device.key.new.PID"},
     [](const std::string& dir, const std::string& target) { EXPECT_EQ(0, EncryptSomething(dir, target)); }},
    {"device_key_is_a_link", 0, "device.key", {"device.key"},
     [](const std::string& dir, const std::string& target) { EXPECT_EQ(-1, EncryptSomething(dir, target)); }},
    {"any_output", 0640, "out", {"out"},
     [](const std::string&, const std::string& target) { EXPECT_EQ(0, vmFileWrite(target.c_str(), "new", 3, 0640, 0)); }},
};

void PrintTo(const Writer& writer, std::ostream* os) { *os << writer.name; }

class PlantedLinks : public testing::TestWithParam<Writer> {
 protected:
  void SetUp() override { saved_umask_ = umask(0); }
  void TearDown() override { umask(saved_umask_); }
  TempDatabase db_;
  mode_t saved_umask_ = 0;
};

TEST_P(PlantedLinks, LeaveTheirVictimsAlone) {
  const Writer& writer = GetParam();
  const std::string dir = db_.directory();
  const std::string victims = dir + "/victims";  // a folder of their own: the database folder is private
  ASSERT_EQ(0, mkdir(victims.c_str(), 0700));
  char model[64];
  ASSERT_EQ(VM_CFG_OK, vmCfgGetParam("device/model", model, sizeof model));  // seeds the key first
  unlink(Join(dir, "device.key").c_str());  // the key is made afresh, or replaced by a link
  std::vector<std::string> victim_paths;
  for (std::string name : writer.planted) {
    if (name.find("PID") != std::string::npos) name.replace(name.find("PID"), 3, std::to_string(getpid()));
    victim_paths.push_back(victims + "/" + std::to_string(victim_paths.size()));
    ASSERT_TRUE(testpki::WriteFile(victim_paths.back(), SignedBytes()));
    ASSERT_EQ(0, symlink(victim_paths.back().c_str(), Join(dir, name.c_str()).c_str())) << name;
  }
  const std::string target = Join(dir, writer.target);
  writer.run(dir, target);
  for (const std::string& victim : victim_paths) EXPECT_EQ(SignedBytes(), testpki::ReadFile(victim));
  struct stat info;
  ASSERT_EQ(0, lstat(target.c_str(), &info));
  EXPECT_TRUE(writer.mode == 0 || (S_ISREG(info.st_mode) && writer.mode == (info.st_mode & 07777)));
  DIR* folder = opendir(dir.c_str());  // no temporary file is left behind
  ASSERT_NE(nullptr, folder);
  while (const dirent* entry = readdir(folder)) {
    EXPECT_TRUE(entry->d_name[0] != '.' || !std::strcmp(entry->d_name, ".") || !std::strcmp(entry->d_name, ".."))
        << entry->d_name;
  }
  closedir(folder);
}

INSTANTIATE_TEST_SUITE_P(Writers, PlantedLinks, testing::ValuesIn(kWriters),
                         [](const testing::TestParamInfo<Writer>& info) { return std::string(info.param.name); });

// The database folder and the device key are refused when others own or
// may change them, and there is no shared fallback location.
struct Tamper {
  const char* name;
  bool needs_root;  // only root can give a file to another user
  std::function<std::string(const std::string& dir)> apply;  // returns the path the refusal names
};

std::string GiveAway(const std::string& path) {
  EXPECT_EQ(0, chown(path.c_str(), 12345, 12345));
  return path;
}

std::string OpenUp(const std::string& path, mode_t mode) {
  EXPECT_EQ(0, chmod(path.c_str(), mode));
  return path;
}

const Tamper kTampers[] = {
    {"shared_folder", false, [](const std::string& dir) { return OpenUp(dir, 0777); }},
    {"group_writable_folder", false, [](const std::string& dir) { return OpenUp(dir, 0720); }},
    {"foreign_folder", true, GiveAway},
    {"open_key", false, [](const std::string& dir) { return OpenUp(Join(dir, "device.key"), 0604); }},
    {"group_key", false, [](const std::string& dir) { return OpenUp(Join(dir, "device.key"), 0640); }},
    {"foreign_key", true, [](const std::string& dir) { return GiveAway(Join(dir, "device.key")); }},
    {"key_link", false,
     [](const std::string& dir) {
       const std::string key = Join(dir, "device.key");
       EXPECT_EQ(0, rename(key.c_str(), Join(dir, "moved.key").c_str()));
       EXPECT_EQ(0, symlink("moved.key", key.c_str()));
       return key;
     }},
    {"no_location", false,
     [](const std::string&) {
       for (const char* name : {"VM_CFG_DB", "XDG_STATE_HOME", "HOME"}) unsetenv(name);
       return std::string("VM_CFG_DB, XDG_STATE_HOME or HOME");
     }},
};

void PrintTo(const Tamper& tamper, std::ostream* os) { *os << tamper.name; }

class TamperedStore : public testing::TestWithParam<Tamper> {
 protected:
  TempDatabase db_;
};

TEST_P(TamperedStore, IsRefusedWithThePathAndTheFix) {
  if (GetParam().needs_root && geteuid() != 0) GTEST_SKIP() << "needs root to give files away";
  const char* seeded = g78();
  ASSERT_NE(nullptr, seeded);
  const std::string stored = seeded;
  char plain[64];
  ASSERT_EQ(0, VM_Decrypt_Param(stored.c_str(), plain, sizeof plain));
  const std::string named = GetParam().apply(db_.directory());
  LogCapture log;
  EXPECT_FALSE(vmCfgUseDatabase(nullptr) == VM_CFG_OK && VM_Decrypt_Param(stored.c_str(), plain, sizeof plain) == 0);
  EXPECT_TRUE(log.Contains(LOG_ERR, named));
  chmod(db_.directory().c_str(), 0700);
}

INSTANTIATE_TEST_SUITE_P(Places, TamperedStore, testing::ValuesIn(kTampers),
                         [](const testing::TestParamInfo<Tamper>& info) { return std::string(info.param.name); });

}  // namespace
