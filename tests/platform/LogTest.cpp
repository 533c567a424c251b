#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/vmLog.h"
#include "support/LogCapture.h"

namespace {

TEST(Log, MacroFillsUnitFunctionAndLine) {
  LogCapture log;
  const int line = __LINE__ + 1;
  DM_LOG(VM_LOG_MODULE_ALERTS, LOG_NOTICE, "slot %d of %s", 3, "status/alarm");
  ASSERT_EQ(1u, log.lines().size());
  const CapturedLine& captured = log.lines()[0];
  EXPECT_EQ(14, captured.module);
  EXPECT_EQ(LOG_NOTICE, captured.level);
  EXPECT_EQ("LogTest", captured.unit);
  EXPECT_EQ("TestBody", captured.function);
  EXPECT_EQ(line, captured.line);
  EXPECT_EQ("slot 3 of status/alarm", captured.text);
}

TEST(Log, ExplicitUnitAndLongTextArriveWhole) {
  LogCapture log;
  const std::string long_text(5000, 'x');
  vm_syslog(25, LOG_ERR, 0, "auth/uAuthEventFactory", "CreateEventFromMessage", 50, "%s|",
            long_text.c_str());
  ASSERT_EQ(1u, log.lines().size());
  EXPECT_EQ("auth/uAuthEventFactory", log.lines()[0].unit);
  EXPECT_EQ(50, log.lines()[0].line);
  EXPECT_EQ(long_text + "|", log.lines()[0].text);
}

TEST(Log, FileNameIsTheBaseNameWithoutExtension) {
  EXPECT_STREQ("AlertManager", FileName("/src/alerts/AlertManager.cpp"));
  EXPECT_STREQ("uSystemState", FileName("uSystemState.cc"));
  EXPECT_STREQ("archive.tar", FileName("dir/archive.tar.gz"));
  EXPECT_STREQ("Makefile", FileName("a/b/Makefile"));
  EXPECT_STREQ(".hidden", FileName("a/.hidden"));
  EXPECT_STREQ("", FileName(nullptr));
  EXPECT_EQ(127u, std::string(FileName(std::string(300, 'n').c_str())).size());
  // Earlier results stay valid for a few more calls on the thread.
  const char* first = FileName("one.cpp");
  const char* second = FileName("two.cpp");
  EXPECT_STREQ("one", first);
  EXPECT_STREQ("two", second);
}

// The environment is read at the first log line; each test runs in a process
// of its own, so setting it first is enough.
TEST(Log, StderrOutputHonoursTheLevelFilter) {
  setenv("VM_LOG", "stderr", 1);
  setenv("VM_LOG_LEVEL", "4", 1);
  LogCapture log;
  testing::internal::CaptureStderr();
  DM_LOG(VM_LOG_MODULE_EMS, LOG_WARNING, "kept line\n");
  DM_LOG(VM_LOG_MODULE_EMS, LOG_DEBUG, "filtered line");
  const std::string printed = testing::internal::GetCapturedStderr();
  EXPECT_NE(std::string::npos, printed.find("LogTest:TestBody"));
  EXPECT_NE(std::string::npos, printed.find("kept line\n"));
  EXPECT_EQ(std::string::npos, printed.find("kept line\n\n"));
  EXPECT_EQ(std::string::npos, printed.find("filtered line"));
  EXPECT_EQ(2u, log.lines().size());  // the capture sink sees every level
}

TEST(Log, OutsideTextIsNeverAFormat) {
  LogCapture log;
  const char* hostile = "%s%s%n%x";
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "name: %s", hostile);
  ASSERT_EQ(1u, log.lines().size());
  EXPECT_EQ("name: %s%s%n%x", log.lines()[0].text);
}

}  // namespace
