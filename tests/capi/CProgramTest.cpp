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
  const std::string cert = dir.directory() + "/device.crt", signedFile = dir.directory() + "/fw.bin",
                    signature = dir.directory() + "/fw.sig";
  ASSERT_TRUE(testpki::WriteCertPem(cert, testpki::MakeCert(testpki::NewRsaKey().get(), {"c-device"}).get()));
  const std::string sigText = "c2lnbmF0dXJl";
  // The trailer: the signature's length in 8 little-endian bytes.
  const std::string bytes = "payload" + sigText + static_cast<char>(sigText.size()) + std::string(7, '\0');
  ASSERT_TRUE(testpki::WriteFile(signedFile, bytes));
  const char* statePath = GetStatusSystemStatePath(11);

  const ProgramResult run = RunningProgram(C_PROGRAM_PATH, {cert, signedFile, signature, statePath}).Wait();
  ASSERT_EQ(0, run.status) << run.err;
  EXPECT_EQ(
      "alarm=0\nsend=0\ncert=1\ndetail=1\nsubject=/C=US/O=Test Org/CN=c-device\nsplit=0\n"
      "setstate=0\ngetstate=0 running\nversions=" DM_VERSION " " DM_VERSION "\n",
      run.out);

  const std::vector<SystemAlert> alarms = AlertManager::GetInstance()->GetActiveAlerts();
  ASSERT_EQ(1u, alarms.size());
  EXPECT_EQ("CAlarm|c-program|C|3|2", alarms[0].m_name + "|" + alarms[0].m_sourceComponent + "|" +
                                          alarms[0].m_additionalInfo1 + "|" + std::to_string(alarms[0].m_severity) +
                                          "|" + std::to_string(alarms[0].m_probableCause));

  message_extra_t message;
  ASSERT_EQ(10, queue.Receive(message));
  EXPECT_TRUE(message.family == 413 && message.eventType == 3) << message.family << " " << message.eventType;
  EXPECT_EQ("ab", std::string(reinterpret_cast<const char*>(message.data), 2));

  EXPECT_EQ("payload", testpki::ReadFile(signedFile));
  EXPECT_EQ(sigText, testpki::ReadFile(signature));
  EXPECT_EQ("from C", GetStatusSystemStateInfo(statePath));
}

}  // namespace
