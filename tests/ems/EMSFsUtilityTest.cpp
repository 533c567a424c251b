#include "ems/EMSFsUtility.h"
#include "ems/EmsTestSupport.h"

namespace {

using EMSFsUtilityTest = EmsTest;

TEST_F(EMSFsUtilityTest, RelativeUrlsJoinTheBaseWithOneSlashAndOnlyTheFirstMacIsReplaced) {
  const char* cases[][3] = {  // base, url, full url
      {"https://e/", "/{mac}/logs", "https://e/00:11:22:aa:bb:cc/logs"}, {"https://e/up", "/logs", "https://e/up/logs"},
      {"https://e/up", "logs", "https://e/uplogs"}, {"", "/logs", "/logs"}, {"", "", ""},
      {"https://b/", "htt", "https://b/htt"}, {"b/", "http://o/{mac}/{mac}", "http://o/00:11:22:aa:bb:cc/{mac}"}};
  for (const auto& c : cases) {
    Set("ems/server/upload_base_url", c[0]);
    std::string url = c[1];
    EMSFsUtility::GetFullUrl(url);
    EXPECT_EQ(c[2], url) << c[0] << " + " << c[1];
  }
  ExpectLogged("EMSFsUtility", {{LOG_DEBUG, "GetFullUrl", "Remote url before editing: htt"},
                                {LOG_DEBUG, "GetFullUrl", "Full remote url: https://b/htt"}});
}

TEST_F(EMSFsUtilityTest, ParsesPathUrlAndFlagWithinTheRange) {
  Set("ems/server/upload_base_url", "https://ems.example.com/");
  const std::string two = "x.log http://h/x 1\ny.log http://h/y 0 trailing";
  const struct { std::string line; unsigned start, end; bool flag; const char* parsed; } cases[] = {
      {"/var/log/a.log /{mac}/logs 1", 0, 99, false, "/var/log/a.log|https://ems.example.com/00:11:22:aa:bb:cc/logs|1"},
      {"a\t\thttp://h/d \r0", 0, 99, true, "a|http://h/d|0"}, {"a http://h/d y", 0, 99, true, "a|http://h/d|0"},
      {"b http://h/e \n\v\f", 0, 99, true, "b|http://h/e|1"},  // no flag: the caller's value stands
      {two, 19, 37, true, "y.log|http://h/y|0"}, {two, 0, 16, true, "x.log|http://h/x|1"},  // range ends before flag
      {two, 0, 12, false, "x.log|http:/|0"}, {"/var/log/only.log", 0, 99, true, "keep|keep|1"},
      {"/a.log http://h/a", 0, 7, true, "keep|keep|1"}, {"/a.log http://h/a", 9, 3, true, "keep|keep|1"}};
  for (const auto& c : cases) {
    std::string path = "keep", url = "keep";
    bool flag = c.flag;
    const bool found = EMSFsUtility::GetFilePathAndUrl(c.line, c.start, c.end, path, url, flag);
    EXPECT_EQ(c.parsed, path + "|" + url + "|" + (flag ? "1" : "0")) << c.line;
    EXPECT_EQ(path != "keep", found) << c.line;
  }
  ExpectLogged("EMSFsUtility", {{LOG_ERR, "GetFilePathAndUrl", "No Remote Directory Url for file /var/log/only.log"},
                                {LOG_DEBUG, "GetFilePathAndUrl",
                                 "file path: a, remote directory url: http://h/d delete after upload: 0"}});
}

}  // namespace
