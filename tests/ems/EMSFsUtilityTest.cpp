#include "ems/EMSFsUtility.h"
#include "ems/EmsTestSupport.h"

namespace {

using EMSFsUtilityTest = EmsTest;

TEST_F(EMSFsUtilityTest, RelativeUrlsJoinTheBaseWithOneSlashAndOnlyTheFirstMacIsReplaced) {
  const char* cases[][3] = {  // base, url, full url
      {"https://ems.example.com/", "/{mac}/logs", "https://ems.example.com/00:11:22:aa:bb:cc/logs"},
      {"https://ems.example.com/", "logs", "https://ems.example.com/logs"},
      {"https://ems.example.com/up", "/logs", "https://ems.example.com/up/logs"},
      {"https://ems.example.com/up", "logs", "https://ems.example.com/uplogs"},
      {"", "/logs", "/logs"},
      {"", "", ""},
      {"https://b/", "http://other/{mac}/{mac}", "http://other/00:11:22:aa:bb:cc/{mac}"},
      {"https://e/upload/{mac}/", "/{mac}", "https://e/upload/00:11:22:aa:bb:cc/{mac}"},
      {"https://b/", "htt", "https://b/htt"}};
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
      {"a\t\thttp://h/d \r0", 0, 99, true, "a|http://h/d|0"},
      {"a http://h/d y", 0, 99, true, "a|http://h/d|0"},
      {"a http://h/d 10x", 0, 99, false, "a|http://h/d|1"},
      {"b http://h/e \n\v\f", 0, 99, true, "b|http://h/e|1"},  // no flag: the caller's value stands
      {"b http://h/e", 0, 12, false, "b|http://h/e|0"},
      {two, 19, 37, true, "y.log|http://h/y|0"},
      {two, 0, 16, true, "x.log|http://h/x|1"},  // the range ends before the flag
      {two, 0, 12, false, "x.log|http:/|0"},     // the range cuts the URL
      {"/var/log/only.log", 0, 99, true, "keep|keep|1"},
      {"/var/log/only.log   \t", 0, 99, false, "keep|keep|0"},
      {"   ", 0, 99, true, "keep|keep|1"},
      {"/a.log http://h/a", 0, 7, true, "keep|keep|1"},  // the URL is outside the range
      {"/a.log http://h/a", 9, 3, true, "keep|keep|1"}};
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
