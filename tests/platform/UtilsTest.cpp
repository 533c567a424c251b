// Small host helpers: log lines, base64 and ASN.1 times.
#include <gtest/gtest.h>

#include <cstring>

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
}

// Decodes into a buffer of exactly length * 3 / 4 bytes, the documented size.
std::string Decode(const std::string& text) {
  std::vector<unsigned char> out(text.size() * 3 / 4 + 1);
  const int length = base64_decode(text.data(), static_cast<int>(text.size()), out.data());
  return length < 0 ? "<refused>" : std::string(out.begin(), out.begin() + length);
}

TEST(Base64, KnownVectorsLineBreaksAndRefusals) {
  const char* const vectors[][2] = {{"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}};
  for (const auto& v : vectors) {
    char out[9] = "#";  // the documented size for six bytes
    const int length = static_cast<int>(std::strlen(v[0]));
    EXPECT_EQ(static_cast<int>(std::strlen(v[1])), base64_encode(reinterpret_cast<const unsigned char*>(v[0]), length, out));
    EXPECT_EQ(std::string(v[1]) + "|" + v[0], std::string(out) + "|" + Decode(v[1]));
  }
  EXPECT_EQ("fo|foobar", Decode("Zm8") + "|" + Decode("Zm9v\nYmFy"));  // padding may be missing, line breaks are skipped
  for (const char* bad : {"Zm9v!mFy", "Z"}) EXPECT_EQ("<refused>", Decode(bad));
}

// The same results hold on 64-bit hosts and on the 32-bit phone, whose time_t
// cannot represent 2050: dates past 2038 clamp instead of wrapping.
TEST(Time, Asn1TimesConvertExactlyOrClamp) {
  const std::pair<const char*, int32_t> cases[] = {
      {"20260101000000Z", 1767225600}, {"700101000001Z", 1},          {"20380119031408Z", INT32_MAX},
      {"491231235959Z", INT32_MAX},    {"19011213204553Z", INT32_MIN + 1}, {"2050-01-01", 7}, {"20501301000000Z", 7}};
  LogCapture log;
  for (const auto& c : cases) {
    int32_t epoch = 7;
    EXPECT_EQ(c.second == 7 ? -1 : 0, vm_asn1_time_to_epoch(c.first, &epoch)) << c.first;
    EXPECT_EQ(c.second, epoch) << c.first;
  }
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "vmTime", "vm_asn1_time_to_epoch", "Not an ASN.1 time: 2050-"));
  EXPECT_EQ(-1, vm_asn1_time_to_epoch(nullptr, nullptr));
  EXPECT_EQ(INT32_MIN, vm_clamp_seconds(-(INT64_C(1) << 31) - 1));
}

}  // namespace
