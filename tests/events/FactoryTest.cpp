#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cstring>
#include <functional>
#include <string>

#include "events/uDeviceManagementAgent.h"
#include "events/uDeviceManagementEventFactory.h"
#include "platform/uIPCSender.h"
#include "platform/uJson.h"
#include "support/LogCapture.h"
#include "support/TestQueue.h"

namespace {

class Sender : public uIPCSender {};

// Sends `event` through a real queue and rebuilds it with the factory.
boost::shared_ptr<uDeviceManagementEvent> RoundTrip(uDeviceManagementEvent& event) {
  TestQueue queue(40);
  Sender sender;
  if (sender.SendEvent(event, 40) != 0) return {};
  message_extra_t message;
  const int length = queue.Receive(message);
  if (length < 8) return {};
  return uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(
      message, static_cast<unsigned int>(length));
}

template <class T>
T* As(const boost::shared_ptr<uDeviceManagementEvent>& event) {
  return dynamic_cast<T*>(event.get());
}

TEST(DeviceManagementEvents, AnswerTheirFamilyTypeDirectionAndName) {
  struct Row {
    std::function<boost::shared_ptr<uDeviceManagementEvent>()> make;
    int type;
    int direction;
    bool payload;
    const char* name;
  };
  const Row rows[] = {
      {[] { return boost::make_shared<GetLocalCertEv>(); }, 0, 2, false, "GetLocalCertEv"},
      {[] { return boost::make_shared<SendIppStatusEv>(); }, 1, 0, true, "SendIppStatusEv"},
      {[] { return boost::make_shared<SendAlertEv>(); }, 2, 0, false, "SendAlertEv"},
      {[] { return boost::make_shared<SendSyncConfigEv>(); }, 3, 0, false, "SendSyncConfigEv"},
      {[] { return boost::make_shared<ProvisioningEv>(); }, 30, 0, true, "ProvisioningEv"},
      {[] { return boost::make_shared<ProvSecurityEv>(); }, 31, 0, false, "ProvSecurityEv"},
      {[] { return boost::make_shared<ProvDeviceCertEv>(); }, 32, 0, false, "ProvDeviceCertEv"},
      {[] { return boost::make_shared<PrivateLabelingEv>(); }, 33, 0, false, "PrivateLabelingEv"},
      {[] { return boost::make_shared<UserConfirmationEv>(); }, 34, 0, false, "UserConfirmationEv"},
      {[] { return boost::make_shared<AndriodFWUpdateEv>(); }, 35, 0, false, "AndriodFWUpdateEv"},
      {[] { return boost::make_shared<LocalConfigurationEv>(); }, 36, 0, true,
       "LocalConfigurationEv"},
      {[] { return boost::make_shared<EmsFsFileChangeEv>(); }, 37, 0, true, "EmsFsFileChangeEv"},
  };
  for (const Row& row : rows) {
    boost::shared_ptr<uDeviceManagementEvent> event = row.make();
    SCOPED_TRACE(row.name);
    EXPECT_EQ(413, event->getEventFamilyType());
    EXPECT_EQ(row.type, event->getEventType());
    EXPECT_EQ(row.direction, event->EventDirection());
    EXPECT_EQ(row.payload, event->getEventData() != nullptr);
    EXPECT_STREQ(row.name, event->GetStr());
    EXPECT_EQ(nullptr, event->GetDataBuffer());
    EXPECT_EQ(0u, event->GetDataBufferSize());
    EXPECT_FALSE(event->BaseDispatch()) << "no receiver was set";
  }
}

TEST(DeviceManagementEvents, RecordsStartWithTheirDefaults) {
  ProvisioningEv provisioning;
  char json[512];
  ASSERT_EQ(0, uJson::Serializer::Serialize(*provisioning.getEventData(), json, sizeof json));
  EXPECT_STREQ(
      "{\"provType\":1,\"provMethod\":-1,\"userConfirmationRequired\":false,\"cfgUrl\":\"\","
      "\"fwUrl\":\"\",\"forceUpdate\":false}",
      json);
  EXPECT_FALSE(provisioning.m_data.m_cfgUrl.IsSet());

  EmsFsFileChangeData custom(4, true);
  EXPECT_EQ(4, custom.m_index.GetValue());
  EXPECT_TRUE(custom.m_deleteFileAfterUpload.GetValue());
  ASSERT_EQ(0, uJson::Serializer::Serialize(custom, json, sizeof json));
  EXPECT_STREQ(
      "{\"monitoredPath\":\"\",\"tmpLocation\":\"\",\"remoteDirectoryUrl\":\"\",\"index\":4,"
      "\"deleteFileAfterUpload\":true}",
      json);
}

TEST(DeviceManagementFactory, EveryBuildableTypeSurvivesAQueueWithItsPayload) {
  GetLocalCertEv cert;
  EXPECT_TRUE(As<GetLocalCertEv>(RoundTrip(cert)));
  SendSyncConfigEv sync;
  EXPECT_TRUE(As<SendSyncConfigEv>(RoundTrip(sync)));

  SendIppStatusEv status;
  status.m_data.m_status.SetValue(-123456);
  const auto status_back_event = RoundTrip(status);
  auto* status_back = As<SendIppStatusEv>(status_back_event);
  ASSERT_NE(nullptr, status_back);
  EXPECT_EQ(-123456, status_back->m_data.m_status.GetValue());

  ProvisioningEv provisioning;
  provisioning.m_data.m_provType.SetValue(3);
  provisioning.m_data.m_provMethod.SetValue(2);
  provisioning.m_data.m_userConfirmationRequired.SetValue(true);
  provisioning.m_data.m_cfgUrl.SetValue(std::string(""));
  provisioning.m_data.m_fwUrl.SetValue(std::string("https://ems.example/fw/1.2.bin"));
  const auto provisioning_back_event = RoundTrip(provisioning);
  auto* provisioning_back = As<ProvisioningEv>(provisioning_back_event);
  ASSERT_NE(nullptr, provisioning_back);
  const ProvisioningData& data = provisioning_back->m_data;
  EXPECT_EQ(3, data.m_provType.GetValue());
  EXPECT_EQ(2, data.m_provMethod.GetValue());
  EXPECT_TRUE(data.m_userConfirmationRequired.GetValue());
  EXPECT_TRUE(data.m_cfgUrl.IsSet()) << "empty stays apart from unset";
  EXPECT_EQ("", data.m_cfgUrl.GetString());
  EXPECT_EQ("https://ems.example/fw/1.2.bin", data.m_fwUrl.GetString());
  EXPECT_FALSE(data.m_forceUpdate.GetValue());

  LocalConfigurationEv local;
  local.m_data.m_configPath.SetValue(std::string("/data/local\0cfg.json", 20));
  const auto local_back_event = RoundTrip(local);
  auto* local_back = As<LocalConfigurationEv>(local_back_event);
  ASSERT_NE(nullptr, local_back);
  EXPECT_EQ(std::string("/data/local\0cfg.json", 20), local_back->m_data.m_configPath.GetString());

  EmsFsFileChangeEv change;
  change.m_data.m_monitoredPath.SetValue(std::string("/var/log"));
  change.m_data.m_tmpLocation.SetValue(std::string("/tmp/up"));
  change.m_data.m_index.SetValue(9);
  change.m_data.m_deleteFileAfterUpload.SetValue(true);
  const auto change_back_event = RoundTrip(change);
  auto* change_back = As<EmsFsFileChangeEv>(change_back_event);
  ASSERT_NE(nullptr, change_back);
  EXPECT_EQ("/var/log", change_back->m_data.m_monitoredPath.GetString());
  EXPECT_EQ("/tmp/up", change_back->m_data.m_tmpLocation.GetString());
  EXPECT_FALSE(change_back->m_data.m_remoteDirectoryUrl.IsSet());
  EXPECT_EQ(9, change_back->m_data.m_index.GetValue());
  EXPECT_TRUE(change_back->m_data.m_deleteFileAfterUpload.GetValue());
}

TEST(DeviceManagementFactory, UnbuildableTypesLogOnceAndYieldNothing) {
  message_t message;
  memset(&message, 0, sizeof message);
  message.family = 413;
  for (int32_t type : {2, 31, 32, 33, 34, 35, 4, 29, 38, -1}) {
    SCOPED_TRACE(type);
    message.eventType = type;
    LogCapture log;
    EXPECT_FALSE(uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(message));
    ASSERT_EQ(1u, log.lines().size());
    const CapturedLine& line = log.lines()[0];
    EXPECT_EQ(25, line.module);
    EXPECT_EQ(LOG_ERR, line.level);
    EXPECT_EQ("uDeviceManagementEventFactory", line.unit);
    EXPECT_EQ("CreateEventFromMessage", line.function);
    EXPECT_EQ(56, line.line);
    EXPECT_EQ("Error - Could not allocate event", line.text);
  }
}

TEST(DeviceManagementFactory, FamilyWordIsNotExaminedAndRecordsStartFresh) {
  message_t message;
  memset(&message, 0, sizeof message);
  message.family = 264;
  message.eventType = 1;
  EXPECT_TRUE(As<SendIppStatusEv>(
      uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(message)));

  // A payload that breaks off inside the record: the event still comes back,
  // its fields as the record's constructor left them (index 0, false).
  message.eventType = 37;
  const uint32_t unset = 0xFFFFFFFF, beyond_the_message = 0x7FFFFFFF;
  memcpy(message.data, &unset, 4);
  memcpy(message.data + 4, &beyond_the_message, 4);
  LogCapture log;
  boost::shared_ptr<uDeviceManagementEvent> event =
      uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(message);
  auto* change = As<EmsFsFileChangeEv>(event);
  ASSERT_NE(nullptr, change);
  EXPECT_EQ(0, change->m_data.m_index.GetValue());
  EXPECT_FALSE(change->m_data.m_deleteFileAfterUpload.GetValue());
  EXPECT_TRUE(log.Contains(LOG_ERR, "Failed to read the record of EmsFsFileChangeEv"));
  EXPECT_EQ(uDeviceManagementEventFactory::GetInstance(),
            uDeviceManagementEventFactory::GetInstance());
}

}  // namespace
