// The device-management family: each class, which numbers the factory
// builds from messages of which length, and state objects.
#include "events/EventTestSupport.h"
#include "events/uDeviceManagementEventFactory.h"
#include "events/uDeviceManagementEventHandler.h"

namespace {

#define DM_ROW(...) EVENT_ROW(uDeviceManagementEvent, __VA_ARGS__)
const char* const kNone = "(none)";

TEST(DeviceManagementEvents, AnswerTheirNumbersRebuildWithTheirRecordsAndReachTheirHandlers) {
  ExpectStateHandler<uDeviceManagementEventHandler, uDeviceManagementStateHandler, SendIppStatusEv, ProvisioningEv,
                     SendSyncConfigEv>();
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
}

TEST(DeviceManagementFactory, BuildsOnlyTheFamilysNumbersFromMessagesOfTheRightLength) {
  ExpectBuilds<uDeviceManagementEventFactory>({4, 29, 38, -1, INT32_MIN}, 1, 8 + 4);  // a status: one integer
  ExpectBuilds<uDeviceManagementEventFactory>({}, 3, 8);
}

}  // namespace
