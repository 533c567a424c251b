#include <gtest/gtest.h>

#include <climits>

#include "platform/vmUtils.h"

namespace {

TEST(FileNames, NameFromUrl) {
  EXPECT_EQ("hs_fw_v1.zip", GetFileNameFromUrl("https://ems.example/fw/hs_fw_v1.zip"));
  EXPECT_EQ("a.bin", GetFileNameFromUrl("http://h/a.bin?token=x/y#frag"));
  EXPECT_EQ("", GetFileNameFromUrl("http://h/dir/"));
  EXPECT_EQ("plain", GetFileNameFromUrl("plain"));
}

TEST(FileNames, PrefixAndSuffixUseTheLastDotOfTheName) {
  EXPECT_EQ("hs_fw_v1", GetFileNamePrefix("hs_fw_v1.zip"));
  EXPECT_EQ("bin", GetFileNameSuffix("fw.bin"));
  EXPECT_EQ("fw.v1.tar", GetFileNamePrefix("fw.v1.tar.gz"));
  EXPECT_EQ("gz", GetFileNameSuffix("fw.v1.tar.gz"));
  EXPECT_EQ(".profile", GetFileNamePrefix(".profile"));
  EXPECT_EQ("", GetFileNameSuffix(".profile"));
  EXPECT_EQ("name.", GetFileNamePrefix("name."));
  EXPECT_EQ("", GetFileNameSuffix("name."));
  EXPECT_EQ("/tmp/dir.d/file", GetFileNamePrefix("/tmp/dir.d/file"));
  EXPECT_EQ("", GetFileNameSuffix("/tmp/dir.d/file"));
}

TEST(FileNames, SwitchSuffixKeepsTheDirectory) {
  EXPECT_EQ("/tmp/peripheral_devices/2_hs_fw_v1.release.json",
            SwitchFilenameSuffix("/tmp/peripheral_devices/2_hs_fw_v1.zip", ".release.json"));
  EXPECT_EQ("/tmp/a.b/fw.release.json", SwitchFilenameSuffix("/tmp/a.b/fw", ".release.json"));
  EXPECT_EQ("fw.v1.tar.bz2", SwitchFilenameSuffix("fw.v1.tar.gz", ".bz2"));
}

TEST(Text, TrimAndIntegers) {
  EXPECT_EQ("a b", strTrim(" \t\r\n a b \f\v\n"));
  EXPECT_EQ("", strTrim(" \t "));
  EXPECT_EQ("", strTrim(""));
  EXPECT_EQ("-2147483648", IntToString(INT_MIN));
  EXPECT_EQ("0", IntToString(0));
}

}  // namespace
