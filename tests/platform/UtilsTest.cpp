// Small host helpers: log lines, base64, ASN.1 times, file names and text.
#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "platform/vmTime.h"
#include "platform/vmUtils.h"
#include "support/LogCapture.h"

namespace {

TEST(Log, LinesCarryModuleLevelUnitFunctionLineAndWholeText) {
  LogCapture log;
  const int line = __LINE__ + 1;
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_NOTICE, "slot %d of %s", 3, "%s%n");  // outside text is never a format
  const std::string long_text(5000, 'x');
  vm_syslog(25, LOG_ERR, 0, "auth/uAuthEventFactory", "Create", 50, "%s|", long_text.c_str());
  EXPECT_TRUE(log.Logged(14, LOG_NOTICE, "UtilsTest", "TestBody", "slot 3 of %s%n"));
  EXPECT_TRUE(log.Logged(25, LOG_ERR, "auth/uAuthEventFactory", "Create", long_text + "|"));
  ASSERT_EQ(2u, log.lines().size());
  EXPECT_EQ(line, log.lines()[0].line);
  EXPECT_EQ(long_text.size() + 1, log.lines()[1].text.size());
}

// The environment is read at the first log line; each test runs in a process
// of its own, so setting it first is enough.
TEST(Log, StderrOutputHonoursTheLevelFilter) {
  setenv("VM_LOG", "stderr", 1);
  setenv("VM_LOG_LEVEL", "4", 1);
  LogCapture log;
  testing::internal::CaptureStderr();
  DM_LOG(VM_LOG_MODULE_EMS, LOG_WARNING, "kept line\n");
  DM_LOG(VM_LOG_MODULE_EMS, LOG_NOTICE, "filtered line");
  const std::string printed = testing::internal::GetCapturedStderr();
  EXPECT_NE(std::string::npos, printed.find("UtilsTest:TestBody"));
  EXPECT_EQ(std::string::npos, printed.find("filtered line"));
  EXPECT_EQ(1, std::count(printed.begin(), printed.end(), '\n')) << printed;  // one line, no blank one
  EXPECT_EQ(2u, log.lines().size());  // the capture sink sees every level
}

TEST(Log, FileNameIsTheBaseNameWithoutExtension) {
  EXPECT_EQ("archive.tar/Makefile/.hidden/", std::string(FileName("d/archive.tar.gz")) + "/" + FileName("a/b/Makefile") +
                                                   "/" + FileName("a/.hidden") + "/" + FileName(nullptr));
  EXPECT_EQ(std::string(127, 'n'), FileName(std::string(300, 'n').c_str()));
  const char* results[8];  // earlier results stay valid for a few more calls on the thread
  for (int i = 0; i < 8; ++i) results[i] = FileName((std::to_string(i) + ".cpp").c_str());
  for (int i = 0; i < 8; ++i) EXPECT_EQ(std::to_string(i), results[i]);
}

std::string Encode(const std::string& bytes) {
  std::vector<char> out(4 * ((bytes.size() + 2) / 3) + 1, '#');  // the documented size
  const int length = base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()),
                                   out.data());
  return length + 1u == out.size() && out.back() == '\0' ? out.data() : "<overrun>";
}

// Decodes into a buffer of exactly length * 3 / 4 bytes, the documented size.
std::string Decode(const std::string& text) {
  std::vector<unsigned char> out(text.size() * 3 / 4 + 1);
  const int length = base64_decode(text.data(), static_cast<int>(text.size()), out.data());
  return length < 0 ? "<refused>" : std::string(out.begin(), out.begin() + length);
}

TEST(Base64, KnownVectorsRandomBytesAndRefusals) {
  const std::pair<std::string, std::string> vectors[] = {{"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},
                                                         {"foo", "Zm9v"},  {"foob", "Zm9vYg=="},  {"foobar", "Zm9vYmFy"}};
  for (const auto& v : vectors) EXPECT_EQ(v.second + "|" + v.first, Encode(v.first) + "|" + Decode(v.second));
  EXPECT_EQ("fo", Decode("Zm8"));  // padding may be missing
  for (const char* bad : {"Zm9v!mFy", "Z"}) EXPECT_EQ("<refused>", Decode(bad));
  unsigned char out[4];
  EXPECT_EQ(-1, base64_decode(nullptr, 4, out));
  EXPECT_EQ(-1, base64_decode("Zm9v", -1, out));
  EXPECT_EQ(-1, base64_encode(nullptr, 3, reinterpret_cast<char*>(out)));
  std::mt19937 random(1234);
  for (size_t length = 0; length < 300; ++length) {
    std::string bytes(length, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    std::string text = Encode(bytes);
    for (size_t i = 64; i < text.size() && length % 2; i += 65) text.insert(i, "\n");  // line breaks are skipped
    ASSERT_EQ(bytes, Decode(text)) << length;
  }
}

// The same results hold on 64-bit hosts and on the 32-bit phone, whose time_t
// cannot represent 2050: dates past 2038 clamp instead of wrapping.
TEST(Time, Asn1TimesConvertExactlyOrClamp) {
  const std::pair<const char*, int32_t> cases[] = {
      {"20260101000000Z", 1767225600}, {"700101000001Z", 1},          {"20380119031407Z", INT32_MAX},
      {"20380119031408Z", INT32_MAX},  {"491231235959Z", INT32_MAX},  {"19000101000000Z", INT32_MIN},
      {"19011213204553Z", INT32_MIN + 1}, {"2050-01-01", 7},          {"20501301000000Z", 7}};
  LogCapture log;
  for (const auto& c : cases) {
    int32_t epoch = 7;
    EXPECT_EQ(c.second == 7 ? -1 : 0, vm_asn1_time_to_epoch(c.first, &epoch)) << c.first;
    EXPECT_EQ(c.second, epoch) << c.first;
  }
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "vmTime", "vm_asn1_time_to_epoch", "Not an ASN.1 time: 2050-"));
  EXPECT_EQ(-1, vm_asn1_time_to_epoch(nullptr, nullptr));
  EXPECT_EQ(INT32_MAX, vm_clamp_seconds(INT64_C(1) << 31));
  EXPECT_EQ(INT32_MIN, vm_clamp_seconds(-(INT64_C(1) << 31) - 1));
  EXPECT_EQ(-5, vm_clamp_seconds(-5));
}

TEST(FileNames, UrlPrefixSuffixAndSwitchUseTheLastDotOfTheName) {
  EXPECT_EQ("a.bin//plain", GetFileNameFromUrl("http://h/a.bin?t=x/y#f") + "/" + GetFileNameFromUrl("http://h/d/") + "/" +
                                GetFileNameFromUrl("plain"));
  const char* const cases[][3] = {{"fw.v1.tar.gz", "fw.v1.tar", "gz"}, {".profile", ".profile", ""},
                                  {"name.", "name.", ""},              {"/tmp/dir.d/file", "/tmp/dir.d/file", ""}};
  for (const auto& c : cases) EXPECT_EQ(std::string(c[1]) + "|" + c[2], GetFileNamePrefix(c[0]) + "|" + GetFileNameSuffix(c[0]));
  EXPECT_EQ("/tmp/pd/2_fw.release.json", SwitchFilenameSuffix("/tmp/pd/2_fw.zip", ".release.json"));
  EXPECT_EQ("/tmp/a.b/fw.release.json", SwitchFilenameSuffix("/tmp/a.b/fw", ".release.json"));
  EXPECT_EQ("a b||-2147483648", strTrim(" \t\r\n a b \f\v\n") + "|" + strTrim(" \t ") + "|" + IntToString(INT_MIN));
}

}  // namespace
