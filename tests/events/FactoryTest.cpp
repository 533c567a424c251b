// The device-management family: each class, which numbers the factory
// builds from messages of which length, and state objects.
#include "events/EventTestSupport.h"
#include "events/uDeviceManagementEventFactory.h"
#include "events/uDeviceManagementEventHandler.h"

namespace {

#define DM_ROW(...) EVENT_ROW(uDeviceManagementEvent, __VA_ARGS__)
const char* const kNone = "(none)";

TEST(DeviceManagementEvents, AnswerTheirNumbersRebuildWithTheirRecordsAndAreNotedUnhandled) {
  ExpectFamily<uDeviceManagementEventFactory, uDeviceManagementEventHandler, uDeviceManagementEvent>(
      413, {DM_ROW(GetLocalCertEv, 0, 2, true, "", kNone),
            DM_ROW(SendIppStatusEv, 1, 0, true, "00000000", R"({"BasicSerializableInteger":-9})"),
            DM_ROW(SendAlertEv, 2, 0, false, "", kNone), DM_ROW(SendSyncConfigEv, 3, 0, true, "", kNone),
            DM_ROW(ProvisioningEv, 30, 0, true, "01000000ffffffff66ffffffffffffffff66",  // two texts unset
                   R"({"provType":3,"provMethod":2,"userConfirmationRequired":true,"cfgUrl":"","fwUrl":"https://e/fw","forceUpdate":true})"),
            DM_ROW(ProvSecurityEv, 31, 0, false, "", kNone), DM_ROW(ProvDeviceCertEv, 32, 0, false, "", kNone),
            DM_ROW(PrivateLabelingEv, 33, 0, false, "", kNone), DM_ROW(UserConfirmationEv, 34, 0, false, "", kNone),
            DM_ROW(AndriodFWUpdateEv, 35, 0, false, "", kNone),
            DM_ROW(LocalConfigurationEv, 36, 0, true, "ffffffff", R"({"configPath":"/data/cfg.json"})"),
            DM_ROW(EmsFsFileChangeEv, 37, 0, true, "ffffffffffffffffffffffff0000000066",
                   R"({"monitoredPath":"/var/log","tmpLocation":"/tmp","remoteDirectoryUrl":"","index":9,"deleteFileAfterUpload":true})")});
  const EmsFsFileChangeData record(4, true);
  EXPECT_EQ(R"({"monitoredPath":"","tmpLocation":"","remoteDirectoryUrl":"","index":4,"deleteFileAfterUpload":true})",
            Json(&record));
}

TEST(DeviceManagementFactory, BuildsOnlyTheFamilysNumbersFromMessagesOfTheRightLength) {
  uDeviceManagementEventFactory* factory = uDeviceManagementEventFactory::GetInstance();
  message_t message{};
  for (int32_t type : {4, 29, 38, -1, INT32_MIN}) {
    message.eventType = type;
    EXPECT_FALSE(factory->CreateEventFromMessage(message)) << type;
    EXPECT_FALSE(factory->CreateEventFromMessage(message, 8)) << type;
  }
  message.eventType = 1;  // a status: one integer
  for (unsigned int length : {7u, 8u, 11u, 13u}) EXPECT_FALSE(factory->CreateEventFromMessage(message, length));
  EXPECT_TRUE(factory->CreateEventFromMessage(message, 12));
  message.eventType = 3;
  EXPECT_TRUE(factory->CreateEventFromMessage(message, 8));
  // The family word is the caller's to route; the payload is read.
  message.family = 264;
  message.eventType = 1;
  message.data[0] = 7;
  EXPECT_EQ(R"({"BasicSerializableInteger":7})", Json(factory->CreateEventFromMessage(message)->getEventData()));
}

TEST(DeviceManagementStateHandler, PassesOnWhatItDoesNotHandle) {
  ExpectStateHandler<uDeviceManagementEventHandler, uDeviceManagementStateHandler, SendIppStatusEv, ProvisioningEv,
                     SendSyncConfigEv>();
}

}  // namespace
