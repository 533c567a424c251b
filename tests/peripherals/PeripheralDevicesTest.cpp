// Status slots, the status rewrite functions and firmware release files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "peripherals/PeripheralDevices.h"
#include "peripherals/PeripheralFixture.h"

namespace {

const char kUnit[] = "PeripheralDevices";

class PeripheralDevices : public PeripheralTest {
 protected:
  void SetUp() override {
    Set("system/type", "DP400");
    for (int slot = 0; slot < 11; ++slot) NameSlot(slot, "");
    Set("peripheral/filters",
        Document(Filter(R"({"pid":512})", R"({"name":"Velmora HS200","type":"HEADSET","hw_type":"BLUETOOTH USB",
                                             "additional_info":"wireless"})") + "," +
                 Filter(R"({"name":"Odd Type"})", R"({"type":"headset","hw_type":"SERIAL"})") + "," +
                 Filter(R"({"name":"No Interface"})", R"({"type":"CAMERA","hw_type":"  "})") + "," +
                 Filter(R"({"name":"Bare"})", R"({"type":"NONE","hw_type":"NONE"})") + "," +
                 Filter(R"({"type":"speaker"})", R"({"hw_type":" ANALOG","manufacturer":""})")));
  }
  static void NameSlot(int slot, const std::string& name) {
    Set("status/peripheral/device/" + std::to_string(slot) + "/name", name);
  }
};

TEST_F(PeripheralDevices, FindsTheFirstFreeSlotAndSlotsByExactName) {
  EXPECT_EQ(0, FindEmptyStatusPeripheralIndex());
  for (int slot = 0; slot < 10; ++slot) NameSlot(slot, slot == 3 || slot == 5 ? "Cam" : "D" + std::to_string(slot));
  EXPECT_EQ(10, FindEmptyStatusPeripheralIndex());
  // The free slot 10 is no match for "".
  const std::pair<const char*, int> names[] = {{"cam", -1}, {"D", -1}, {"", -1}, {nullptr, -1}, {"Cam", 3}, {"D0", 0}};
  for (const auto& [name, at] : names) EXPECT_EQ(at, GetPeripheralDeviceIndexByName(name)) << (name ? name : "null");
  NameSlot(10, "D10");
  EXPECT_EQ(-1, FindEmptyStatusPeripheralIndex());
  EXPECT_EQ(10, GetPeripheralDeviceIndexByName("D10"));
}

TEST_F(PeripheralDevices, EachRewriteFunctionReturnsItsFieldOrTheFallback) {
  EXPECT_EQ("Velmora HS200", RewritePeripheralDeviceDisplayName(13360, 512, "hs"));  // the name, not the display name
  EXPECT_EQ("", RewritePeripheralDeviceDisplayName(1, 1, nullptr));
  EXPECT_EQ("wireless", RewritePeripheralDeviceAdditionalInfo(1, 512, "hs", "given"));
  EXPECT_EQ("given", RewritePeripheralDeviceAdditionalInfo(1, 1, "hs", "given"));
  EXPECT_EQ("Velmora", RewritePeripheralDeviceManufacturer(13360, 1, "hs", "Other"));
  EXPECT_EQ(VM_PERIPHERAL_TYPE_HEADSET, RewritePeripheralDeviceType(1, 512, "hs", VM_PERIPHERAL_TYPE_OTHER));
  EXPECT_EQ(VM_PERIPHERAL_TYPE_MOUSE, RewritePeripheralDeviceType(1, 1, "Odd Type", VM_PERIPHERAL_TYPE_MOUSE));
  EXPECT_EQ(VM_PERIPHERAL_TYPE_NONE, RewritePeripheralDeviceType(1, 1, "Bare", VM_PERIPHERAL_TYPE_MOUSE));  // value 0
  EXPECT_EQ(VM_PERIPHERAL_HW_NONE, RewritePeripheralDeviceHwType(1, 1, "Bare", nullptr, VM_PERIPHERAL_HW_WIFI));
  // The type argument takes part in the match; blanks before the first word are skipped.
  EXPECT_EQ(VM_PERIPHERAL_HW_ANALOG, RewritePeripheralDeviceHwType(1, 1, "box", "SPEAKER", VM_PERIPHERAL_HW_USB));
  EXPECT_EQ(VM_PERIPHERAL_HW_WIFI, RewritePeripheralDeviceHwType(1, 1, "Odd Type", nullptr, VM_PERIPHERAL_HW_WIFI));
  EXPECT_EQ(VM_PERIPHERAL_HW_WIFI, RewritePeripheralDeviceHwType(1, 1, "No Interface", nullptr, VM_PERIPHERAL_HW_WIFI));
}

TEST_F(PeripheralDevices, WholeRecordRewriteSetsOnlyWhatTheFilterNames) {
  // Device name and pid; result, name, additional info, manufacturer, type, hw type.
  const std::pair<std::string, const char*> cases[] = {
      {"hs/512", "1|Velmora HS200|wireless|Velmora|HEADSET|BLUETOOTH|kept"},
      {"nothing/1", "0|nothing|kept|kept|MOUSE|HDMI|kept"},
      {"Bare/1", "1|Bare||Velmora|NONE|NONE|kept"},
      {"Odd Type/1", "1|Odd Type||Velmora|MOUSE|HDMI|kept"},      // texts that are not enumeration names
      {"No Interface/1", "0|No Interface||Velmora|CAMERA|HDMI|kept"},  // no hw_type word: false after the rest
  };
  const vmCfgParam* type = vmCfgFindParameterByPath("status/peripheral/device/0/type");
  const vmCfgParam* hw = vmCfgFindParameterByPath("status/peripheral/device/0/hw_type");
  for (const auto& c : cases) {
    PeripheralDeviceData d;
    d.m_name = c.first.substr(0, c.first.find('/'));
    d.m_pid = std::stoi(c.first.substr(c.first.find('/') + 1));
    d.m_vid = 13360;
    d.m_type = VM_PERIPHERAL_TYPE_MOUSE;
    d.m_hwType = VM_PERIPHERAL_HW_HDMI;
    d.m_additionalInfo = d.m_manufacturer = d.m_extra = "kept";
    const std::string result = std::to_string(RewritePeripheralDevice(d));
    EXPECT_EQ(c.second, result + "|" + d.m_name + "|" + d.m_additionalInfo + "|" + d.m_manufacturer + "|" +
                            vmCfgEnumToStr(type, d.m_type) + "|" + vmCfgEnumToStr(hw, d.m_hwType) + "|" + d.m_extra);
  }
}

// Firmware files live under /tmp/peripheral_devices, shared with the device:
// the test adds and removes only files whose names carry its own stem.
class FirmwareFiles : public PeripheralDevices {
 protected:
  void SetUp() override {
    PeripheralDevices::SetUp();
    ::mkdir(kDir, 0777);
    if (::access(kDir, W_OK) != 0) GTEST_SKIP() << kDir << " is not writable";
  }
  void TearDown() override { for (const std::string& path : m_files) std::remove(path.c_str()); }
  // Entry `entry` (for `device` when given) was fetched from <stem><tag>.zip.
  std::string Release(int entry, const std::string& tag, const std::string& json, const char* device = nullptr) {
    if (device) Set("status/peripheral/firmware/" + std::to_string(entry) + "/device_name", device);
    Set("status/peripheral/firmware/" + std::to_string(entry) + "/url", "https://ems/fw/" + m_stem + tag + ".zip");
    m_files.push_back(Unpacked(entry, tag, ".release.json"));
    WriteFile(m_files.back(), json);
    return m_files.back();
  }
  std::string Unpacked(int entry, const std::string& tag, const char* suffix) const {
    return std::string(kDir) + "/" + std::to_string(entry) + "_" + m_stem + tag + suffix;
  }
  static constexpr const char* kDir = "/tmp/peripheral_devices";
  const std::string m_stem = "dmtest-" + std::to_string(::getpid());
  std::vector<std::string> m_files;
};

TEST_F(FirmwareFiles, ReleaseFileReadersFillTheirFieldsOrFailUntouched) {
  std::string good = Release(0, "r", R"({"device_name":"HS","firmware_version":"1.4","firmware_name":"fw.bin"})"),
              bad = Release(1, "bad", R"({"firmware_name":{"x":1}})");
  using Reader = bool (*)(std::string&, std::string&);
  const std::tuple<Reader, const char*, std::string> readers[] = {
      {GetDeviceNameFromReleaseJsonFile, "GetDeviceNameFromReleaseJsonFile", "HS"},
      {GetFirmwareVersionFromReleaseJsonFile, "GetFirmwareVersionFromReleaseJsonFile", "1.4"},
      {GetFileFirmwareNameFromReleaseJsonFile, "GetFileFirmwareNameFromReleaseJsonFile", "fw.bin"}};
  for (const auto& [reader, function, value] : readers) {
    std::string out;
    EXPECT_TRUE(reader(good, out) && out == value) << function;
    EXPECT_FALSE(reader(bad, out) || out != value) << function;  // left untouched
    ExpectLogged(kUnit, {{LOG_ERR, function, "GetDetailInfoFromReleaseJson failed.\n"}});
  }
  EXPECT_EQ("", GetPeripheralDeviceUnzipFwFilePathByFwIndex(1));
  std::string d, v, n;
  ASSERT_TRUE(GetDataFromReleaseJsonFile(good, d, v, n));
  EXPECT_FALSE(GetDataFromReleaseJsonFile(bad, d, v, n) || d + "/" + v + "/" + n != "HS/1.4/fw.bin");
  ExpectLogged(kUnit, {{LOG_NOTICE, "GetDetailInfoFromReleaseJson", "device_name=HS\n"},
                       {LOG_NOTICE, "GetDetailInfoFromReleaseJson", "firmware_version=1.4\n"},
                       {LOG_NOTICE, "GetDetailInfoFromReleaseJson", "firmware_name=fw.bin\n"},
                       {LOG_ERR, "GetDataFromReleaseJsonFile", "GetDetailInfoFromReleaseJson failed.\n"},
                       {LOG_ERR, "GetDetailInfoFromReleaseJson", "call DeSerialize failed.\n"},
                       {LOG_ERR, "GetUnzipFullFwFilePath", "GetFileFirmwareNameFromReleaseJsonFile failed!"}});
}

// The unpacked file keeps the stem of the URL's file and takes the suffix of the release's firmware name.
TEST_F(FirmwareFiles, DeviceSlotTakesItsLowestFirmwareEntry) {
  Release(0, "a", R"({"firmware_name":"hs.bin"})", "Velmora HS200");
  Release(6, "b", R"({"firmware_name":"hs.img"})", "Velmora HS200");
  Release(9, "c", R"({"firmware_name":"cam.fw"})", "Velmora Cam 4K");
  NameSlot(4, "Velmora HS200");
  NameSlot(10, "Velmora Cam 4K");
  NameSlot(1, "Velmora HS300");
  EXPECT_EQ(Unpacked(6, "b", ".img"), GetPeripheralDeviceUnzipFwFilePathByFwIndex(6));
  EXPECT_EQ(Unpacked(0, "a", ".bin"), GetPeripheralDeviceFwFilePathByDeviceIndex(4));
  EXPECT_EQ(Unpacked(9, "c", ".fw"), GetPeripheralDeviceFwFilePathByDeviceIndex(10));
  for (int slot : {1, 2, 11}) EXPECT_EQ("", GetPeripheralDeviceFwFilePathByDeviceIndex(slot)) << slot;
  EXPECT_EQ(Unpacked(0, "a", ".bin"),
            GetUnzipFullFwFilePath(0, "https://e/" + m_stem + "a.zip?t=1", "peripheral_devices"));
  ExpectLogged(kUnit,
               {{LOG_ERR, "GetPeripheralDeviceFwFilePathByDeviceIndex", "No FW compatible device index 2 found"}});
}

}  // namespace
