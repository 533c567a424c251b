#include <gtest/gtest.h>

#include <string>

#include "ems/EMSFsUtility.h"
#include "platform/vmCfg.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

class EMSFsUtilityTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("network/override/mac", "00:11:22:aa:bb:cc"));
    SetBase("https://ems.example.com/");
  }
  static void SetBase(const char* base) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/upload_base_url", base));
  }
  static std::string Full(std::string url) {
    EMSFsUtility::GetFullUrl(url);
    return url;
  }

  TempDatabase m_db;
};

TEST_F(EMSFsUtilityTest, RelativeUrlsJoinTheBaseWithOneSlash) {
  EXPECT_EQ("https://ems.example.com/00:11:22:aa:bb:cc/logs", Full("/{mac}/logs"));
  EXPECT_EQ("https://ems.example.com/logs", Full("logs"));
  SetBase("https://ems.example.com/up");
  EXPECT_EQ("https://ems.example.com/up/logs", Full("/logs"));
  EXPECT_EQ("https://ems.example.com/uplogs", Full("logs"));  // no slash is added
  SetBase("");
  EXPECT_EQ("/logs", Full("/logs"));
  EXPECT_EQ("", Full(""));
}

TEST_F(EMSFsUtilityTest, AbsoluteUrlsOnlyGetTheirFirstMacReplaced) {
  EXPECT_EQ("http://other.example.com/00:11:22:aa:bb:cc/{mac}", Full("http://other.example.com/{mac}/{mac}"));
  EXPECT_EQ("https://x/y", Full("https://x/y"));
  // A base that holds the placeholder itself gets it replaced once.
  SetBase("https://ems.example.com/upload/{mac}/");
  LogCapture log;
  EXPECT_EQ("https://ems.example.com/upload/00:11:22:aa:bb:cc/{mac}", Full("/{mac}"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Remote url before editing: /{mac}"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Full remote url: https://ems.example.com/upload/00:11:22:aa:bb:cc/{mac}"));
}

TEST_F(EMSFsUtilityTest, ParsesPathUrlAndFlag) {
  const std::string line = "/var/log/a.log /{mac}/logs 1";
  std::string path;
  std::string url;
  bool remove = false;
  LogCapture log;
  ASSERT_TRUE(EMSFsUtility::GetFilePathAndUrl(line, 0, line.size(), path, url, remove));
  EXPECT_EQ("/var/log/a.log", path);
  EXPECT_EQ("https://ems.example.com/00:11:22:aa:bb:cc/logs", url);
  EXPECT_TRUE(remove);
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "file path: /var/log/a.log, remote directory url: "
                                      "https://ems.example.com/00:11:22:aa:bb:cc/logs delete after upload: 1"));

  for (const char* flag : {"0", "y", "10x"}) {
    remove = true;
    const std::string entry = std::string("a\t\thttp://h/d \r") + flag;
    ASSERT_TRUE(EMSFsUtility::GetFilePathAndUrl(entry, 0, entry.size(), path, url, remove)) << flag;
    EXPECT_EQ(flag[0] == '1', remove) << flag;
    EXPECT_EQ("http://h/d", url);
  }
  for (bool initial : {false, true}) {
    remove = initial;
    ASSERT_TRUE(EMSFsUtility::GetFilePathAndUrl("b http://h/e \n\v\f", 0, 17, path, url, remove));
    EXPECT_EQ(initial, remove);  // no flag: the caller's value stands
    EXPECT_EQ("b", path);
  }
}

TEST_F(EMSFsUtilityTest, ParsesOnlyTheGivenRange) {
  // Two entries on one text; the second one's range is parsed.
  const std::string text = "x.log http://h/x 1\ny.log http://h/y 0 trailing";
  const unsigned start = static_cast<unsigned>(text.find("y.log"));
  std::string path;
  std::string url;
  bool remove = true;
  ASSERT_TRUE(EMSFsUtility::GetFilePathAndUrl(text, start, start + 18, path, url, remove));
  EXPECT_EQ("y.log", path);
  EXPECT_EQ("http://h/y", url);
  EXPECT_FALSE(remove);
  // A range that stops before the flag leaves it alone; one that stops inside the URL cuts it.
  remove = true;
  ASSERT_TRUE(EMSFsUtility::GetFilePathAndUrl(text, 0, 16, path, url, remove));
  EXPECT_EQ("http://h/x", url);
  EXPECT_TRUE(remove);
  ASSERT_TRUE(EMSFsUtility::GetFilePathAndUrl(text, 0, 12, path, url, remove));
  EXPECT_EQ("http:/", url);
  // Ranges past the text are taken as its end.
  ASSERT_TRUE(EMSFsUtility::GetFilePathAndUrl("p http://h/z", 0, 4000, path, url, remove));
  EXPECT_EQ("http://h/z", url);
}

TEST_F(EMSFsUtilityTest, AnEntryWithoutUrlFailsAndLeavesTheOutputs) {
  std::string path = "keep";
  std::string url = "keep";
  bool remove = true;
  LogCapture log;
  for (const std::string entry : {"/var/log/only.log", "/var/log/only.log   \t", "", "   "}) {
    EXPECT_FALSE(EMSFsUtility::GetFilePathAndUrl(entry, 0, entry.size(), path, url, remove)) << entry;
  }
  EXPECT_TRUE(log.Contains(LOG_ERR, "No Remote Directory Url for file /var/log/only.log"));
  // The URL is outside the range: still no URL.
  const std::string line = "/a.log http://h/a";
  EXPECT_FALSE(EMSFsUtility::GetFilePathAndUrl(line, 0, 7, path, url, remove));
  EXPECT_FALSE(EMSFsUtility::GetFilePathAndUrl(line, 9, 3, path, url, remove));
  EXPECT_EQ("keep", path);
  EXPECT_EQ("keep", url);
  EXPECT_TRUE(remove);
}

}  // namespace
