// Status slots, the status rewrite functions and firmware release files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "peripherals/PeripheralDevices.h"
#include "peripherals/PeripheralFixture.h"

namespace {

std::string Filter(const std::string& in, const std::string& out) {
  return "{\"in\":" + in + ",\"out\":" + out + "}";
}

std::string Document(const std::string& filters) { return "{\"filters\":[" + filters + "]}"; }

void NameSlot(int slot, const char* name) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(("status/peripheral/device/" + std::to_string(slot) + "/name").c_str(), name));
}

class PeripheralSlots : public PeripheralTest {
 protected:
  void SetUp() override {
    for (int slot = 0; slot < 11; ++slot) NameSlot(slot, "");
  }
};

TEST_F(PeripheralSlots, FindsTheFirstFreeSlotAndSlotsByName) {
  EXPECT_EQ(0, FindEmptyStatusPeripheralIndex());
  NameSlot(0, "Velmora HS200");
  NameSlot(2, "Cam");
  NameSlot(5, "Cam");
  EXPECT_EQ(1, FindEmptyStatusPeripheralIndex());
  EXPECT_EQ(2, GetPeripheralDeviceIndexByName("Cam"));  // the first of two
  EXPECT_EQ(0, GetPeripheralDeviceIndexByName("Velmora HS200"));
  EXPECT_EQ(-1, GetPeripheralDeviceIndexByName("cam"));
  EXPECT_EQ(-1, GetPeripheralDeviceIndexByName("Velmora"));
  EXPECT_EQ(-1, GetPeripheralDeviceIndexByName(""));  // free slots do not count
  EXPECT_EQ(-1, GetPeripheralDeviceIndexByName(nullptr));
  for (int slot = 0; slot < 11; ++slot) NameSlot(slot, ("Device " + std::to_string(slot)).c_str());
  EXPECT_EQ(-1, FindEmptyStatusPeripheralIndex());
  EXPECT_EQ(10, GetPeripheralDeviceIndexByName("Device 10"));
}

class PeripheralStatusRewrite : public PeripheralTest {
 protected:
  void SetUp() override {
    SetSystemType("DP400");
    SetConfiguredFilters(Document(
        Filter(R"({"pid":512})", R"({"name":"Velmora HS200","display_name":"HS200","type":"HEADSET",
                                     "hw_type":"BLUETOOTH USB","additional_info":"wireless"})") +
        "," + Filter(R"({"name":"Odd Type"})", R"({"type":"headset","hw_type":"SERIAL"})") + "," +
        Filter(R"({"name":"No Interface"})", R"({"type":"CAMERA","hw_type":"  "})") + "," +
        Filter(R"({"type":"speaker"})", R"({"hw_type":"ANALOG","manufacturer":""})")));
  }
};

TEST_F(PeripheralStatusRewrite, EachFunctionReturnsItsField) {
  // The "display name" function returns the rewritten name.
  EXPECT_EQ("Velmora HS200", RewritePeripheralDeviceDisplayName(13360, 512, "hs"));
  EXPECT_EQ("unknown", RewritePeripheralDeviceDisplayName(1, 1, "unknown"));
  EXPECT_EQ("", RewritePeripheralDeviceDisplayName(1, 1, nullptr));
  EXPECT_EQ("wireless", RewritePeripheralDeviceAdditionalInfo(1, 512, "hs", "given"));
  EXPECT_EQ("given", RewritePeripheralDeviceAdditionalInfo(1, 1, "hs", "given"));
  EXPECT_EQ("", RewritePeripheralDeviceAdditionalInfo(1, 1, "hs", nullptr));
  EXPECT_EQ("Velmora", RewritePeripheralDeviceManufacturer(13360, 1, "hs", "Other"));
  EXPECT_EQ("Other", RewritePeripheralDeviceManufacturer(1, 1, "hs", "Other"));
}

TEST_F(PeripheralStatusRewrite, EnumerationsFallBackWhenNotNames) {
  EXPECT_EQ(VM_PERIPHERAL_TYPE_HEADSET, RewritePeripheralDeviceType(1, 512, "hs", VM_PERIPHERAL_TYPE_OTHER));
  // No match, or a type text that is not a name of the enumeration (names are upper case).
  EXPECT_EQ(VM_PERIPHERAL_TYPE_OTHER, RewritePeripheralDeviceType(1, 1, "hs", VM_PERIPHERAL_TYPE_OTHER));
  EXPECT_EQ(VM_PERIPHERAL_TYPE_MOUSE, RewritePeripheralDeviceType(1, 1, "Odd Type", VM_PERIPHERAL_TYPE_MOUSE));

  EXPECT_EQ(VM_PERIPHERAL_HW_BLUETOOTH, RewritePeripheralDeviceHwType(1, 512, "hs", nullptr, VM_PERIPHERAL_HW_NONE));
  // The type argument takes part in the match.
  EXPECT_EQ(VM_PERIPHERAL_HW_ANALOG, RewritePeripheralDeviceHwType(1, 1, "box", "SPEAKER", VM_PERIPHERAL_HW_USB));
  EXPECT_EQ(VM_PERIPHERAL_HW_USB, RewritePeripheralDeviceHwType(1, 1, "box", "CAMERA", VM_PERIPHERAL_HW_USB));
  EXPECT_EQ(VM_PERIPHERAL_HW_WIFI, RewritePeripheralDeviceHwType(1, 1, "Odd Type", nullptr, VM_PERIPHERAL_HW_WIFI));
  EXPECT_EQ(VM_PERIPHERAL_HW_WIFI,
            RewritePeripheralDeviceHwType(1, 1, "No Interface", nullptr, VM_PERIPHERAL_HW_WIFI));
}

TEST_F(PeripheralStatusRewrite, WholeRecord) {
  PeripheralDeviceData data;
  data.m_name = "hs";
  data.m_vid = 13360;
  data.m_pid = 512;
  data.m_manufacturer = "Someone";
  data.m_extra = "serial 42";
  ASSERT_TRUE(RewritePeripheralDevice(data));
  EXPECT_EQ("Velmora HS200", data.m_name);
  EXPECT_EQ("wireless", data.m_additionalInfo);
  EXPECT_EQ("Velmora", data.m_manufacturer);
  EXPECT_EQ(VM_PERIPHERAL_TYPE_HEADSET, data.m_type);
  EXPECT_EQ(VM_PERIPHERAL_HW_BLUETOOTH, data.m_hwType);
  EXPECT_EQ("serial 42", data.m_extra);
  EXPECT_EQ(13360, data.m_vid);

  PeripheralDeviceData unmatched;
  unmatched.m_name = "nothing";
  unmatched.m_type = VM_PERIPHERAL_TYPE_MOUSE;
  unmatched.m_additionalInfo = "kept";
  EXPECT_FALSE(RewritePeripheralDevice(unmatched));
  EXPECT_EQ("nothing", unmatched.m_name);
  EXPECT_EQ(VM_PERIPHERAL_TYPE_MOUSE, unmatched.m_type);
  EXPECT_EQ("kept", unmatched.m_additionalInfo);

  // Names that are not enumeration names leave the values; an hw_type
  // without a word makes the result false after the other fields are set.
  PeripheralDeviceData odd;
  odd.m_name = "Odd Type";
  odd.m_type = VM_PERIPHERAL_TYPE_SPEAKER;
  odd.m_hwType = VM_PERIPHERAL_HW_HDMI;
  odd.m_manufacturer = "M";
  EXPECT_TRUE(RewritePeripheralDevice(odd));
  EXPECT_EQ(VM_PERIPHERAL_TYPE_SPEAKER, odd.m_type);
  EXPECT_EQ(VM_PERIPHERAL_HW_HDMI, odd.m_hwType);
  EXPECT_EQ("", odd.m_manufacturer);  // the input record's manufacturer is not passed in

  PeripheralDeviceData noInterface;
  noInterface.m_name = "No Interface";
  noInterface.m_hwType = VM_PERIPHERAL_HW_USB;
  EXPECT_FALSE(RewritePeripheralDevice(noInterface));
  EXPECT_EQ(VM_PERIPHERAL_TYPE_CAMERA, noInterface.m_type);
  EXPECT_EQ(VM_PERIPHERAL_HW_USB, noInterface.m_hwType);
}

// A directory /tmp/<name> of the test's own, removed afterwards.
class FirmwareFiles : public PeripheralTest {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/dm-periph-fw-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    m_dir = pattern;
    m_name = m_dir.substr(5);
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
  }
  std::string m_dir;   // "/tmp/dm-periph-fw-..."
  std::string m_name;  // "dm-periph-fw-..."
};

TEST_F(FirmwareFiles, ReleaseFileWrappers) {
  std::string path = m_dir + "/2_hs_fw_v1.release.json";
  WriteFile(path, R"({"device_name":"Velmora HS200","firmware_version":"1.4.2","firmware_name":"fw.bin"})");
  std::string device = "x", version = "x", name = "x";
  ASSERT_TRUE(GetDataFromReleaseJsonFile(path, device, version, name));
  EXPECT_EQ("Velmora HS200", device);
  EXPECT_EQ("1.4.2", version);
  EXPECT_EQ("fw.bin", name);
  std::string one;
  ASSERT_TRUE(GetFirmwareVersionFromReleaseJsonFile(path, one));
  EXPECT_EQ("1.4.2", one);
  ASSERT_TRUE(GetFileFirmwareNameFromReleaseJsonFile(path, one));
  EXPECT_EQ("fw.bin", one);
  ASSERT_TRUE(GetDeviceNameFromReleaseJsonFile(path, one));
  EXPECT_EQ("Velmora HS200", one);
  EXPECT_TRUE(m_log.Contains(LOG_NOTICE, "firmware_version=1.4.2\n"));

  // Keys that are absent read as "".
  WriteFile(path, R"({"firmware_name":"fw.bin"})");
  ASSERT_TRUE(GetDeviceNameFromReleaseJsonFile(path, one));
  EXPECT_EQ("", one);
}

TEST_F(FirmwareFiles, BadReleaseFilesLeaveOutputsUntouched) {
  std::string path = m_dir + "/bad.release.json";
  using Wrapper = bool (*)(std::string&, std::string&);
  const struct {
    Wrapper read;
    const char* function;
  } wrappers[] = {{GetFirmwareVersionFromReleaseJsonFile, "GetFirmwareVersionFromReleaseJsonFile"},
                  {GetFileFirmwareNameFromReleaseJsonFile, "GetFileFirmwareNameFromReleaseJsonFile"},
                  {GetDeviceNameFromReleaseJsonFile, "GetDeviceNameFromReleaseJsonFile"}};
  for (const char* text : {"", "not json", "[\"fw.bin\"]", R"({"firmware_name":{"x":1}})"}) {
    WriteFile(path, text);
    std::string device = "d", version = "v", name = "n";
    EXPECT_FALSE(GetDataFromReleaseJsonFile(path, device, version, name)) << text;
    EXPECT_EQ("d", device);
    EXPECT_EQ("v", version);
    EXPECT_EQ("n", name);
    EXPECT_TRUE(m_log.Logged(VM_LOG_MODULE_ALERTS, LOG_ERR, "PeripheralDevices", "GetDetailInfoFromReleaseJson",
                             "call DeSerialize failed.\n"));
    EXPECT_TRUE(m_log.Logged(VM_LOG_MODULE_ALERTS, LOG_ERR, "PeripheralDevices", "GetDataFromReleaseJsonFile",
                             "GetDetailInfoFromReleaseJson failed.\n"));
    // Each wrapper's failure is its own line, under its own name.
    for (const auto& wrapper : wrappers) {
      std::string out = "o";
      EXPECT_FALSE(wrapper.read(path, out));
      EXPECT_EQ("o", out);
      EXPECT_TRUE(m_log.Logged(VM_LOG_MODULE_ALERTS, LOG_ERR, "PeripheralDevices", wrapper.function,
                               "GetDetailInfoFromReleaseJson failed.\n"));
    }
  }
  std::string missing = m_dir + "/missing.release.json", version = "v";
  EXPECT_FALSE(GetFirmwareVersionFromReleaseJsonFile(missing, version));
  EXPECT_EQ("v", version);
}

TEST_F(FirmwareFiles, UnpackedPathKeepsTheStemAndTakesTheFirmwareSuffix) {
  WriteFile(m_dir + "/2_hs_fw_v1.release.json", R"({"firmware_name":"fw.bin"})");
  EXPECT_EQ(m_dir + "/2_hs_fw_v1.bin",
            GetUnzipFullFwFilePath(2, "https://ems.example.com/files/hs_fw_v1.zip?token=abc", m_name));
  // Another entry number reads another release file.
  EXPECT_EQ("", GetUnzipFullFwFilePath(3, "https://ems.example.com/files/hs_fw_v1.zip", m_name));
  EXPECT_TRUE(m_log.Contains(LOG_ERR, "GetFileFirmwareNameFromReleaseJsonFile failed!"));

  // A URL file without suffix; a firmware name without suffix.
  WriteFile(m_dir + "/4_hsfw.release.json", R"({"firmware_name":"firmware"})");
  EXPECT_EQ(m_dir + "/4_hsfw.", GetUnzipFullFwFilePath(4, "https://ems.example.com/hsfw", m_name));
  // A URL without a file name looks for "<entry>_.release.json".
  EXPECT_EQ("", GetUnzipFullFwFilePath(5, "https://ems.example.com/files/", m_name));
  WriteFile(m_dir + "/5_.release.json", R"({"firmware_name":"fw.img"})");
  EXPECT_EQ(m_dir + "/5_.img", GetUnzipFullFwFilePath(5, "https://ems.example.com/files/", m_name));

  WriteFile(m_dir + "/6_pkg.release.json", "{broken");
  EXPECT_EQ("", GetUnzipFullFwFilePath(6, "https://ems.example.com/pkg.zip", m_name));
}

// The firmware table's own directory, /tmp/peripheral_devices, is shared with
// the device: the test only adds and removes files with names of its own.
class FirmwareTable : public PeripheralTest {
 protected:
  void SetUp() override {
    for (int slot = 0; slot < 11; ++slot) NameSlot(slot, "");
    ::mkdir(kDir, 0777);
    m_stem = "dmtest-" + std::to_string(::getpid()) + "-" + std::to_string(::time(nullptr));
    const std::string probe = std::string(kDir) + "/" + m_stem + ".probe";
    std::FILE* file = std::fopen(probe.c_str(), "w");
    if (file == nullptr) GTEST_SKIP() << kDir << " is not writable";
    std::fclose(file);
    std::remove(probe.c_str());
  }
  void TearDown() override {
    for (const std::string& path : m_files) std::remove(path.c_str());
  }
  // Declares firmware entry `entry` for `device`, fetched from <stem>_<tag>.zip,
  // with a release file naming `firmwareName`.
  void AddEntry(int entry, const char* device, const std::string& tag, const char* firmwareName) {
    const std::string file = m_stem + "_" + tag;
    const std::string e = std::to_string(entry);
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(("status/peripheral/firmware/" + e + "/device_name").c_str(), device));
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(("status/peripheral/firmware/" + e + "/url").c_str(),
                                       ("https://ems.example.com/fw/" + file + ".zip").c_str()));
    const std::string release = std::string(kDir) + "/" + e + "_" + file + ".release.json";
    m_files.push_back(release);
    WriteFile(release, std::string("{\"firmware_name\":\"") + firmwareName + "\"}");
  }
  std::string Expected(int entry, const std::string& tag, const char* suffix) const {
    return std::string(kDir) + "/" + std::to_string(entry) + "_" + m_stem + "_" + tag + suffix;
  }

  static constexpr const char* kDir = "/tmp/peripheral_devices";
  std::string m_stem;
  std::vector<std::string> m_files;
};

TEST_F(FirmwareTable, DeviceSlotFindsItsFirstFirmwareEntry) {
  AddEntry(3, "Velmora HS200", "a", "hs.bin");
  AddEntry(6, "Velmora HS200", "b", "hs.img");
  AddEntry(7, "Velmora Cam 4K", "c", "cam.fw");
  NameSlot(4, "Velmora HS200");
  NameSlot(8, "Velmora Cam 4K");
  EXPECT_EQ(Expected(3, "a", ".bin"), GetPeripheralDeviceUnzipFwFilePathByFwIndex(3));
  EXPECT_EQ(Expected(6, "b", ".img"), GetPeripheralDeviceUnzipFwFilePathByFwIndex(6));
  EXPECT_EQ(Expected(3, "a", ".bin"), GetPeripheralDeviceFwFilePathByDeviceIndex(4));  // the lower entry wins
  EXPECT_EQ(Expected(7, "c", ".fw"), GetPeripheralDeviceFwFilePathByDeviceIndex(8));
}

TEST_F(FirmwareTable, SlotsWithoutFirmwareGiveNothing) {
  AddEntry(0, "Velmora HS200", "a", "hs.bin");
  NameSlot(1, "Velmora HS300");
  EXPECT_EQ("", GetPeripheralDeviceFwFilePathByDeviceIndex(1));
  EXPECT_TRUE(m_log.Contains(LOG_ERR, "No FW compatible device index 1 found"));
  // An empty slot never matches the empty device names of unused entries.
  EXPECT_EQ("", GetPeripheralDeviceFwFilePathByDeviceIndex(2));
  EXPECT_TRUE(m_log.Contains(LOG_ERR, "No FW compatible device index 2 found"));
  EXPECT_EQ("", GetPeripheralDeviceFwFilePathByDeviceIndex(11));
  EXPECT_EQ("", GetPeripheralDeviceUnzipFwFilePathByFwIndex(10));
}

}  // namespace
