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
  testpki::CertSpec root_spec;
  root_spec.common_name = "root";
  testpki::Cert root = testpki::MakeCert(key.get(), root_spec);
  testpki::CertSpec device_spec;
  device_spec.common_name = "device";
  testpki::Cert middle = testpki::MakeCert(key.get(), testpki::CertSpec{"middle"});
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

const Door kDoors[] = {
    {"certificate", VM_FILE_CAP_CERTIFICATE, Input,
     [](const std::string&, const std::string& path) { cert_crypto_destroy(get_certificate(path.c_str())); }},
    {"pem_check", VM_FILE_CAP_CERTIFICATE, Input,
     [](const std::string&, const std::string& path) { IsPemFile(path.c_str()); }},
    {"der_to_pem", VM_FILE_CAP_CERTIFICATE, Input,
     [](const std::string&, const std::string& path) { ConvertCertToPemFile(path.c_str()); }},
    {"signing_certificate", VM_FILE_CAP_CERTIFICATE, Input,
     [](const std::string&, const std::string& path) { SignatureVerifier().initCertificate(path); }},
    {"signature", VM_FILE_CAP_SIGNATURE, Input,
     [](const std::string&, const std::string& path) { SignatureVerifier().initSignature(path); }},
    {"signed_file", 0, Input,
     [](const std::string& dir, const std::string& path) {
       extract_signature(path.c_str(), Join(dir, "sig").c_str());
     }},
    {"digest", 0, Input,
     [](const std::string&, const std::string& path) { SignatureVerifier().generateDigest({path}); }},
    {"filters", VM_FILE_CAP_JSON, Input,
     [](const std::string&, const std::string& path) {
       PeripheralDeviceFiltersJson filters;
       PeripheralDeviceRewriter::GetFilterListFromJsonFile(path, filters);
     }},
    {"release", VM_FILE_CAP_JSON, Input,
     [](const std::string&, std::string path) {
       ReleaseFWInfo info;
       GetDetailInfoFromReleaseJson(path, info);
     }},
    {"chain_entry", VM_FILE_CAP_CERTIFICATE,
     [](const std::string& dir) {
       MakeChainDirectory(dir);
       return Join(dir, "CAcerts/entry");
     },
     [](const std::string& dir, const std::string&) { check_local_cert_chain(dir.c_str()); }},
};

enum class Kind { kFifo, kDevice, kAtCap, kOverCap };

struct Case {
  const Door* door;
  Kind kind;
};

std::string CaseName(const testing::TestParamInfo<Case>& info) {
  static const char* const kKinds[] = {"Fifo", "Device", "AtCap", "OverCap"};
  return std::string(info.param.door->name) + "_" + kKinds[static_cast<int>(info.param.kind)];
}

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
  int refusals = 0;   // log lines that refuse a file
  int too_large = 0;  // of which: over the cap
  long grown_kib = 0;  // growth of the peak resident size
};

long PeakKib() {
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// Runs `body` in a child that SIGALRM kills after `seconds`, so a door that
// blocks fails the test instead of hanging it. False when the child did not
// finish cleanly.
bool RunInChild(const std::function<void()>& body, unsigned seconds, Outcome* outcome) {
  int channel[2];
  if (pipe(channel) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    Outcome seen;
    {
      LogCapture log;
      const long before = PeakKib();
      alarm(seconds);
      body();
      alarm(0);
      seen.grown_kib = PeakKib() - before;
      for (const CapturedLine& line : log.lines()) {
        const bool large = line.text.find(vmFileStatusText(VM_FILE_TOO_LARGE)) != std::string::npos;
        seen.too_large += large;
        seen.refusals += large || line.text.find(vmFileStatusText(VM_FILE_NOT_REGULAR)) != std::string::npos ||
                         line.text.find(vmFileStatusText(VM_FILE_LINK)) != std::string::npos;
      }
    }
    const bool sent = write(channel[1], &seen, sizeof seen) == static_cast<ssize_t>(sizeof seen);
    _exit(sent ? 0 : 1);
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
  switch (kind) {
    case Kind::kFifo:
      ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
      break;
    case Kind::kDevice:
      ASSERT_EQ(0, symlink("/dev/zero", path.c_str()));
      break;
    case Kind::kAtCap:
    case Kind::kOverCap:
      ASSERT_TRUE(testpki::WriteFile(path, std::string(door.cap + (kind == Kind::kOverCap), 'A')));
      break;
  }
  Outcome outcome;
  const bool special = kind == Kind::kFifo || kind == Kind::kDevice;
  ASSERT_TRUE(RunInChild([&] { door.run(db_.directory(), path); }, special ? 1 : 20, &outcome))
      << "the door blocked or crashed";
  EXPECT_EQ(kind == Kind::kAtCap ? 0 : 1, outcome.refusals);
  EXPECT_EQ(kind == Kind::kOverCap ? 1 : 0, outcome.too_large);
  EXPECT_LT(outcome.grown_kib, 32 * 1024);
}

// Parameters print as their names, so test listings stay short.
void PrintTo(const Case& c, std::ostream* os) { *os << c.door->name; }

INSTANTIATE_TEST_SUITE_P(Doors, HostileInput, testing::ValuesIn(AllCases()), CaseName);

// Writers: a link planted at every name they write leaves its victim as it
// was, and what they write gets its own mode under umask 000.
struct Writer {
  const char* name;
  mode_t mode;  // of the target afterwards; 0: the writer must refuse
  // Makes the inputs; returns the target and the names where links are planted.
  std::function<std::string(const std::string& dir, std::vector<std::string>* planted)> prepare;
  std::function<void(const std::string& target)> run;
};

// A payload, a 12-byte signature and its length trailer; longer than a
// device key, so a key read through a link would be taken.
std::string SignedBytes() {
  std::string bytes = "payload of a signed file c2lnbmF0dXJl";
  bytes.push_back(12);
  bytes.append(7, '\0');
  return bytes;
}

std::string SignedFile(const std::string& path) {
  EXPECT_TRUE(testpki::WriteFile(path, SignedBytes()));
  return path;
}

const Writer kWriters[] = {
    {"der_to_pem", 0644,
     [](const std::string& dir, std::vector<std::string>* planted) {
       testpki::Key key = testpki::NewEcKey();
       testpki::Cert cert = testpki::MakeCert(key.get(), testpki::CertSpec());
       const std::string target = Join(dir, "c.crt");
       EXPECT_TRUE(testpki::WriteCertDer(target, cert.get()));
       planted->push_back(target + "_tmp");
       return target;
     },
     [](const std::string& target) { ConvertCertToPemFile(target.c_str()); }},
    {"signature_split", 0644,
     [](const std::string& dir, std::vector<std::string>* planted) {
       SignedFile(Join(dir, "fw.bin"));
       planted->push_back(Join(dir, "fw.sig"));
       return Join(dir, "fw.sig");
     },
     [](const std::string& target) {
       const std::string signed_file = target.substr(0, target.size() - 3) + "bin";
       EXPECT_EQ(0, extract_signature(signed_file.c_str(), target.c_str()));
     }},
    {"signed_file_is_a_link", 0,
     [](const std::string& dir, std::vector<std::string>* planted) {
       planted->push_back(Join(dir, "fw.bin"));
       return Join(dir, "fw.bin");
     },
     [](const std::string& target) {
       EXPECT_EQ(-1, extract_signature(target.c_str(), (target + ".sig").c_str()));
     }},
    {"new_device_key", 0600,
     [](const std::string& dir, std::vector<std::string>* planted) {
       // Where a predictable temporary name used to be.
       planted->push_back(Join(dir, "device.key.new.") + std::to_string(getpid()));
       return Join(dir, "device.key");
     },
     [](const std::string&) {
       char stored[256];
       EXPECT_EQ(0, VM_Encrypt_Path_Param("a/b", "x", stored, sizeof stored));
     }},
    {"device_key_is_a_link", 0,
     [](const std::string& dir, std::vector<std::string>* planted) {
       planted->push_back(Join(dir, "device.key"));
       return Join(dir, "device.key");
     },
     [](const std::string&) {
       char stored[256];
       EXPECT_EQ(-1, VM_Encrypt_Path_Param("a/b", "x", stored, sizeof stored));
     }},
    {"any_output", 0640,
     [](const std::string& dir, std::vector<std::string>* planted) {
       planted->push_back(Join(dir, "out"));
       return Join(dir, "out");
     },
     [](const std::string& target) { EXPECT_EQ(0, vmFileWrite(target.c_str(), "new", 3, 0640, 0)); }},
};

class PlantedLinks : public testing::TestWithParam<Writer> {
 protected:
  void SetUp() override { saved_umask_ = umask(0); }
  void TearDown() override { umask(saved_umask_); }
  TempDatabase db_;
  mode_t saved_umask_ = 0;
};

TEST_P(PlantedLinks, LeaveTheirVictimsAlone) {
  const Writer& writer = GetParam();
  // Victims live in a folder of their own: the database folder is private.
  const std::string victims = db_.directory() + "/victims";
  ASSERT_EQ(0, mkdir(victims.c_str(), 0700));
  char model[64];
  ASSERT_EQ(VM_CFG_OK, vmCfgGetParam("device/model", model, sizeof model));  // seeds the key first
  std::vector<std::string> planted;
  const std::string target = writer.prepare(db_.directory(), &planted);
  std::vector<std::string> victim_paths;
  for (const std::string& name : planted) {
    victim_paths.push_back(victims + "/" + std::to_string(victim_paths.size()));
    if (name.find("device.key") != std::string::npos) unlink(name.c_str());
    ASSERT_TRUE(testpki::WriteFile(victim_paths.back(), SignedBytes()));
    ASSERT_EQ(0, symlink(victim_paths.back().c_str(), name.c_str())) << name;
  }
  if (writer.mode == 0600) unlink(target.c_str());  // the key is made afresh
  writer.run(target);
  for (const std::string& victim : victim_paths) EXPECT_EQ(SignedBytes(), testpki::ReadFile(victim));
  struct stat info;
  ASSERT_EQ(0, lstat(target.c_str(), &info));
  if (writer.mode != 0) {
    EXPECT_TRUE(S_ISREG(info.st_mode));
    EXPECT_EQ(writer.mode, info.st_mode & 07777);
  }
  // No temporary file is left behind.
  DIR* folder = opendir(db_.directory().c_str());
  ASSERT_NE(nullptr, folder);
  while (const dirent* entry = readdir(folder)) {
    EXPECT_TRUE(entry->d_name[0] != '.' || !std::strcmp(entry->d_name, ".") || !std::strcmp(entry->d_name, ".."))
        << entry->d_name;
  }
  closedir(folder);
}

void PrintTo(const Writer& writer, std::ostream* os) { *os << writer.name; }

INSTANTIATE_TEST_SUITE_P(Writers, PlantedLinks, testing::ValuesIn(kWriters),
                         [](const testing::TestParamInfo<Writer>& info) { return std::string(info.param.name); });

// The database folder and the device key are refused when others own or
// may change them, and there is no shared fallback location.
struct Tamper {
  const char* name;
  bool needs_root;  // only root can give a file to another user
  std::function<std::string(const std::string& dir)> apply;  // returns the path the refusal names
};

constexpr uid_t kOtherUser = 12345;

std::string GiveAway(const std::string& path) {
  EXPECT_EQ(0, chown(path.c_str(), kOtherUser, kOtherUser));
  return path;
}

std::string OpenUp(const std::string& path, mode_t mode) {
  EXPECT_EQ(0, chmod(path.c_str(), mode));
  return path;
}

const Tamper kTampers[] = {
    {"shared_folder", false, [](const std::string& dir) { return OpenUp(dir, 0777); }},
    {"foreign_folder", true, [](const std::string& dir) { return GiveAway(dir); }},
    {"open_key", false, [](const std::string& dir) { return OpenUp(Join(dir, "device.key"), 0644); }},
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
       unsetenv("VM_CFG_DB");
       unsetenv("XDG_STATE_HOME");
       unsetenv("HOME");
       return std::string("VM_CFG_DB, XDG_STATE_HOME or HOME");
     }},
};

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
  const bool usable =
      vmCfgUseDatabase(nullptr) == VM_CFG_OK && VM_Decrypt_Param(stored.c_str(), plain, sizeof plain) == 0;
  EXPECT_FALSE(usable);
  EXPECT_TRUE(log.Contains(LOG_ERR, named));
  chmod(db_.directory().c_str(), 0700);
}

void PrintTo(const Tamper& tamper, std::ostream* os) { *os << tamper.name; }

INSTANTIATE_TEST_SUITE_P(Places, TamperedStore, testing::ValuesIn(kTampers),
                         [](const testing::TestParamInfo<Tamper>& info) { return std::string(info.param.name); });

}  // namespace
