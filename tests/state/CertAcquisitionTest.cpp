#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "alerts/AlertManager.h"
#include "alerts/AlertTestSupport.h"
#include "state/CertAcquisition.h"
#include "state/uSystemState.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

const char kScepPath[] = "status/system/state/get_certificate_by_SCEP";
const char kHttpPath[] = "status/system/state/get_certificate_by_HTTP";

class CertAcquisition : public ::testing::Test {
 protected:
  AlertManager* manager() { return AlertManager::GetInstance(); }

  // "status, result, info, wasSuccessful" of a state record.
  static std::string State(const char* path) {
    return GetStatusSystemStateStatus(path) + ", " + GetStatusSystemStateResult(path) + ", " +
           GetStatusSystemStateInfo(path) + ", " + (GetStatusSystemStateWasSuccessful(path) ? "true" : "false");
  }
  static void ExpectFields(const std::string& prefix, const std::vector<std::pair<std::string, std::string>>& fields) {
    for (const auto& field : fields) EXPECT_EQ(field.second, Param(prefix + field.first)) << prefix << field.first;
  }

  TempDatabase db_;
  LogCapture log_;
};

TEST_F(CertAcquisition, FailureRaisesTheAlarmAndRecordsTheMethodState) {
  SendGetCertFailAlert("device certificate", "SCEP", "server timeout");
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "Failure Alert. cert: device certificate, source: SCEP, reason: server timeout"));
  EXPECT_EQ("SCEPEnrollUtility", log_.lines().front().unit);
  const int slot = manager()->FindAlertIndex("Device fails to get certificate", "device certificate/SCEP");
  ASSERT_GE(slot, 0);
  const std::string prefix = "status/alarm/" + std::to_string(slot) + "/";
  ExpectFields(prefix, {{"description", "Device fails to acquire device certificate by SCEP due to [AI1]"},
                        {"additionalInfo1", "server timeout"},
                        {"additionalInfo2", ""},
                        {"category", ""},
                        {"severity", "4"},
                        {"type", "1"},
                        {"probable_cause", "5"},
                        {"ui_notification", "disabled"}});
  Deliver();
  const std::vector<SystemAlert> active = manager()->GetActiveAlerts();
  ASSERT_EQ(1u, active.size());
  EXPECT_EQ("Device fails to acquire device certificate by SCEP due to server timeout",
            AlertManager::BuildAlertDescription(active[0].m_description, active[0].m_additionalInfo1));
  EXPECT_EQ("done, failed, server timeout, false", State(kScepPath));
  EXPECT_EQ(", , , false", State(kHttpPath));

  SendGetCertFailAlert("device certificate", "Provisioning", "HTTP 404");
  EXPECT_EQ("done, failed, HTTP 404, false", State(kHttpPath));
  EXPECT_GE(manager()->FindAlertIndex("Device fails to get certificate", "device certificate/Provisioning"), 0);
}

TEST_F(CertAcquisition, ClearingTouchesOnlyTheMatchingAlarm) {
  SendGetCertFailAlert("device certificate", "SCEP", "r1");
  SendGetCertFailAlert("device certificate", "Provisioning", "r2");
  SendGetCertFailAlert("CA certificate", "SCEP", "r3");
  ClearGetCertFailAlert("device certificate", "SCEP");
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "Clear Failure Alert. cert: device certificate, source: SCEP"));
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"device certificate/SCEP", "0"}, {"device certificate/Provisioning", "4"}, {"CA certificate/SCEP", "4"}};
  for (const auto& alarm : expected) {
    const int slot = manager()->FindAlertIndex("Device fails to get certificate", alarm.first);
    ASSERT_GE(slot, 0) << alarm.first;
    EXPECT_EQ(alarm.second, Param("status/alarm/" + std::to_string(slot) + "/severity")) << alarm.first;
  }
  // Clearing a pair that was never raised takes no slot.
  ClearGetCertFailAlert("other", "SCEP");
  Deliver();
  EXPECT_EQ(3u, manager()->GetActiveAlerts().size());
  // A new failure raises the cleared alarm again in its slot.
  SendGetCertFailAlert("device certificate", "SCEP", "r4");
  const int slot = manager()->FindAlertIndex("Device fails to get certificate", "device certificate/SCEP");
  EXPECT_EQ("4", Param("status/alarm/" + std::to_string(slot) + "/severity"));
  EXPECT_EQ("r4", Param("status/alarm/" + std::to_string(slot) + "/additionalInfo1"));
}

TEST_F(CertAcquisition, SuccessAddsAnEventAndACaDownloadLeavesEnrolmentRunning) {
  SendGetCertSuccessEvent("CA certificate", "SCEP", "3 certificates", "CA chain stored");
  EXPECT_TRUE(log_.Contains(LOG_NOTICE, "Success Event. cert: CA certificate, source: SCEP, addInfo: 3 certificates"));
  const std::vector<int> slots = manager()->FindEventIndices("Device acquired a new certificate", "CA certificate/SCEP");
  ASSERT_EQ(1u, slots.size());
  ExpectFields("status/event/" + std::to_string(slots[0]) + "/",
               {{"description", "Device acquired new CA certificate by SCEP"},
                {"additionalInfo1", "3 certificates"},
                {"additionalInfo2", ""},
                {"category", ""},
                {"severity", "1"},
                {"type", "0"},
                {"probable_cause", "0"},
                {"ui_notification", "disabled"}});
  EXPECT_EQ("running, success, CA chain stored, true", State(kScepPath));
  EXPECT_TRUE(manager()->FindAlertIndex("Device fails to get certificate", "CA certificate/SCEP") < 0)
      << "success raises no alarm";

  SendGetCertSuccessEvent("device certificate", "SCEP", "", "enrolled");
  EXPECT_EQ("done, success, enrolled, true", State(kScepPath));
  SendGetCertSuccessEvent("CA certificate", "Provisioning", "", "CA chain stored");
  EXPECT_EQ("done, success, CA chain stored, true", State(kHttpPath));
  EXPECT_EQ(3u, [&] { Deliver(); return manager()->GetEventHistory().size(); }());
}

TEST_F(CertAcquisition, TheStateWriterKnowsTwoMethods) {
  EXPECT_NE(0, SetCrtDownloadSystemState("USB", "done", "success", "x"));
  EXPECT_NE(0, SetCrtDownloadSystemState("scep", "done", "success", "x"));
  EXPECT_EQ(", , , false", State(kScepPath));
  EXPECT_EQ(", , , false", State(kHttpPath));

  // Only a finished, successful CA download is turned into "running".
  const std::vector<std::vector<std::string>> cases = {
      {"done", "failed", "CA server down", "done, failed, CA server down, false"},
      {"done", "success", "ca lower case", "done, success, ca lower case, true"},
      {"running", "", "fetching CA", "running, , fetching CA, true"},
      {"done", "success", "got RA and CA", "running, success, got RA and CA, true"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(0, SetCrtDownloadSystemState("SCEP", c[0], c[1], c[2]));
    EXPECT_EQ(c[3], State(kScepPath)) << c[2];
  }
  EXPECT_EQ(0, SetCrtDownloadSystemState("Provisioning", "done", "success", "CA"));
  EXPECT_EQ("done, success, CA, true", State(kHttpPath));
}

}  // namespace
