// Runs the C program of CProgram.c (built -std=c11 -Wall -Werror against
// devmgmt.h alone) and checks what each call did where it lands: the alarm
// table, the management client's queue, the split files and the state store.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "state/uSystemState.h"
#include "support/RunProgram.h"
#include "support/TempDatabase.h"
#include "support/TestPki.h"
#include "support/TestQueue.h"

namespace {

TEST(CProgram, ReachesEverySubsystemThroughTheCHeader) {
  TempDatabase dir;
  TestQueue queue(15);
  const std::string cert = dir.directory() + "/device.crt";
  const std::string signedFile = dir.directory() + "/fw.bin";
  const std::string signature = dir.directory() + "/fw.sig";
  testpki::Key key = testpki::NewRsaKey();
  testpki::CertSpec spec;
  spec.common_name = "c-device";
  ASSERT_TRUE(testpki::WriteCertPem(cert, testpki::MakeCert(key.get(), spec).get()));
  const std::string sigText = "c2lnbmF0dXJl";
  std::string trailer(8, '\0');
  trailer[0] = static_cast<char>(sigText.size());
  ASSERT_TRUE(testpki::WriteFile(signedFile, "payload" + sigText + trailer));
  const char* statePath = GetStatusSystemStatePath(11);

  const ProgramResult run = RunProgram(C_PROGRAM_PATH, {cert, signedFile, signature, statePath});
  ASSERT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "alarm=0\nsend=0\ncert=1\ndetail=1\nsubject=/C=US/O=Test Org/CN=c-device\nsplit=0\n"
      "setstate=0\ngetstate=0 running\nversions=" DM_VERSION " " DM_VERSION "\n",
      run.out);

  const std::vector<SystemAlert> alarms = AlertManager::GetInstance()->GetActiveAlerts();
  ASSERT_EQ(1u, alarms.size());
  EXPECT_EQ("CAlarm", alarms[0].m_name);
  EXPECT_EQ("c-program", alarms[0].m_sourceComponent);
  EXPECT_EQ("C", alarms[0].m_additionalInfo1);
  EXPECT_EQ(3, alarms[0].m_severity);
  EXPECT_EQ(2, alarms[0].m_probableCause);

  message_extra_t message;
  ASSERT_EQ(10, queue.Receive(message));
  const int32_t* words = reinterpret_cast<const int32_t*>(&message);
  EXPECT_EQ(413, words[0]);
  EXPECT_EQ(3, words[1]);
  EXPECT_EQ("ab", std::string(reinterpret_cast<const char*>(&message) + 8, 2));

  EXPECT_EQ("payload", testpki::ReadFile(signedFile));
  EXPECT_EQ(sigText, testpki::ReadFile(signature));
  EXPECT_EQ("from C", GetStatusSystemStateInfo(statePath));
}

}  // namespace
