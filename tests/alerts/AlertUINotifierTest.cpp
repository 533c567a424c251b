#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "alerts/AlertManager.h"
#include "alerts/AlertTestSupport.h"
#include "alerts/AlertUINotifier.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

const char* const kCard = "command/card";
const char* const kRemoteCard = "remote/console/command/card";

bool ParseCard(const std::string& text, rapidjson::Document* doc) {
  return !doc->Parse(text.c_str()).HasParseError() && doc->IsObject();
}

class Notifier : public testing::Test {
 protected:
  TempDatabase db_;
  AlertUINotifier* notifier() { return AlertUINotifier::GetInstance(); }
};

TEST_F(Notifier, InitShowsStandingAlarmsAgainAndSkipsDisabledOnes) {
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Basic", "s", 2));
  ASSERT_EQ(0, AlertManager_SetAlert("Remote", "s", 2, "r", nullptr, nullptr, nullptr, 0, 0, 3));
  ASSERT_EQ(0, AlertManager_SetBasicEvent("NotReplayed", "s", 1));
  Deliver();
  EXPECT_EQ("<missing>", Param(kRemoteCard));
  LogCapture log;
  notifier()->Init();
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Init AlertUINotifier"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "UI notification for Alert Basic is disabled"));
  rapidjson::Document card;
  ASSERT_TRUE(ParseCard(Param(kRemoteCard), &card));
  EXPECT_STREQ("Remote/s", card["channel"].GetString());
  EXPECT_EQ("<missing>", Param(kCard));  // mode 3 is the console only
  EXPECT_FALSE(log.Contains(LOG_DEBUG, "Report Event"));
  EXPECT_EQ("AlertUINotifier", log.lines()[0].unit);
}

TEST_F(Notifier, EventsMakeCardsUnlessDisabledAndClosedEventsWriteNothing) {
  notifier()->Init();
  LogCapture log;
  ASSERT_EQ(0, AlertManager_SetEvent("Quiet", "s", 1, nullptr, nullptr, nullptr, nullptr, 0, 0, 0));
  ASSERT_EQ(1, AlertManager_SetEvent("Closed", "s", 1, "c", nullptr, nullptr, nullptr, 0, 0, 1));
  Deliver();
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "UI notification for Event Quiet is disabled"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Report Event - name: Closed, source component: s, severity: 1"));
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Build Card From Alarm"));
  EXPECT_EQ("<missing>", Param(kCard));  // value 1 builds the card but has no key
  ASSERT_EQ(2, AlertManager_SetEvent("Shown", "s", 1, "up", nullptr, nullptr, nullptr, 0, 0, 2));
  Deliver();
  rapidjson::Document card;
  ASSERT_TRUE(ParseCard(Param(kCard), &card));
  EXPECT_STREQ("Event Notification", card["content"]["issuer"].GetString());
  EXPECT_STREQ("up", card["content"]["text"].GetString());
}

TEST_F(Notifier, ACardGivenInAdditionalInfoIsPassedOnAsStored) {
  notifier()->Init();
  LogCapture log;
  ASSERT_EQ(0, AlertManager_SetAlert("Given", "s", 2, "ignored", nullptr, R"({"channel":"own","type":"Info"})",
                                     nullptr, 0, 0, 2));
  Deliver();
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "Get card from addInfo2"));
  EXPECT_EQ(Param("status/alarm/0/additionalInfo2"), Param(kCard));
  rapidjson::Document card;
  ASSERT_TRUE(ParseCard(Param(kCard), &card));
  EXPECT_STREQ("own", card["channel"].GetString());
  EXPECT_STREQ("", card["content"]["text"].GetString());

  // Unchecked: text that is no card still reaches the key.
  ASSERT_EQ(0, AlertManager_SetAlert("Raw", "s", 2, nullptr, nullptr, "<card/>", nullptr, 0, 0, 2));
  Deliver();
  EXPECT_EQ("<card/>", Param(kCard));
}

TEST_F(Notifier, BothKeysInModeFourWithTheConsoleAdaptationOnlyAsACheck) {
  const std::string given =
      R"({"content":{"issuer":"Setup","buttons":[{"type":"Set_Parameter","value":"audio/volume"},)"
      R"({"type":"Set_Parameter","value":"remote/audio/mute"},{"type":"OK","value":"x/y"}]}})";
  const std::string adapted = notifier()->CustomizeCardForRemote(given);
  rapidjson::Document card;
  ASSERT_TRUE(ParseCard(adapted, &card)) << adapted;
  EXPECT_STREQ("Front of room -Setup", card["content"]["issuer"].GetString());
  EXPECT_STREQ("remote/for/audio/volume", card["content"]["buttons"][0]["value"].GetString());
  EXPECT_STREQ("remote/audio/mute", card["content"]["buttons"][1]["value"].GetString());
  EXPECT_STREQ("x/y", card["content"]["buttons"][2]["value"].GetString());

  notifier()->OpenCard(VM_UI_NOTIFICATION_DEVICE_AND_REMOTE, given);
  EXPECT_EQ(given, Param(kCard));
  EXPECT_EQ(given, Param(kRemoteCard));

  // A card the console cannot take goes to the device only.
  LogCapture log;
  notifier()->OpenCard(VM_UI_NOTIFICATION_DEVICE_AND_REMOTE, "{broken");
  EXPECT_TRUE(log.Contains(LOG_ERR, "CustomizeCardForRemote failed"));
  EXPECT_EQ("{broken", Param(kCard));
  EXPECT_EQ(given, Param(kRemoteCard));
  EXPECT_EQ("", notifier()->CustomizeCardForRemote(R"({"content":[1]})"));

  Journal journal(db_.path());
  const long long mark = journal.LastSeq();
  notifier()->OpenCard(VM_UI_NOTIFICATION_DISABLED, given);
  notifier()->OpenCard(VM_UI_NOTIFICATION_CLEARED, given);
  notifier()->OpenCard(static_cast<vmTCfgTypeStatusAlarmUiNotification>(9), given);
  EXPECT_TRUE(journal.PathsAfter(mark).empty());
}

TEST_F(Notifier, ACardThatDoesNotFitIsWrittenEmpty) {
  notifier()->Init();
  LogCapture log;
  const std::string longText(2100, 'w');
  ASSERT_EQ(0, AlertManager_SetAlert("Long", "s", 2, longText.c_str(), nullptr, nullptr, nullptr, 0, 0, 2));
  Deliver();
  EXPECT_TRUE(log.Contains(LOG_ERR, "cant display card , uJson::Serializer failed"));
  EXPECT_EQ("", Param(kCard));
  uHeroCard card("");
  EXPECT_EQ(-1, notifier()->DeSerializerCard("[]", card));
  EXPECT_EQ(0, notifier()->DeSerializerCard(R"({"timeout":5})", card));
  EXPECT_EQ(5, card.m_timeout.GetValue());
  EXPECT_EQ("a/b", notifier()->GetChannel("a", "b"));
}

// The whole path with two processes on one database: this process raises
// and clears; the child shows cards as the device's user interface would.
class TwoProcesses : public testing::Test {
 protected:
  TempDatabase db_;
};

// The child: shows cards until told to stop, then reports what it logged.
[[noreturn]] void RunCardProcess(int readyFd, int stopFd, int reportFd) {
  prctl(PR_SET_NAME, "cardviewer", 0, 0, 0);
  LogCapture log;
  AlertUINotifier::GetInstance()->Init();
  const char ready = 1;
  if (write(readyFd, &ready, 1) != 1) _exit(2);
  ConfigManager* changes = ConfigManager::Instance();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  pollfd stop = {stopFd, POLLIN, 0};
  while (poll(&stop, 1, 0) == 0 && std::chrono::steady_clock::now() < deadline) {
    changes->waitForChange(20);
    changes->dispatchPending();
  }
  changes->dispatchPending();
  int cards = 0;
  for (const CapturedLine& line : log.lines()) cards += line.text.rfind("card = ", 0) == 0 ? 1 : 0;
  const bool closed = log.Contains(LOG_DEBUG, "UI notification for Alert Uplink is cleared");
  char report[64];
  const int length = std::snprintf(report, sizeof report, "cards=%d closed=%d", cards, closed ? 1 : 0);
  if (write(reportFd, report, static_cast<size_t>(length)) != length) _exit(3);
  _exit(0);
}

// Waits (up to 20 s) until `done` holds for the card key's value.
template <typename Done>
std::string AwaitCard(Done done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  std::string value = Param(kCard);
  while (!done(value) && std::chrono::steady_clock::now() < deadline) {
    ConfigManager::Instance()->waitForChange(50);
    value = Param(kCard);
  }
  return value;
}

TEST_F(TwoProcesses, AnAlarmRaisedHereIsShownAndClosedByTheOtherProcess) {
  int ready[2], stop[2], report[2];
  ASSERT_EQ(0, pipe(ready));
  ASSERT_EQ(0, pipe(stop));
  ASSERT_EQ(0, pipe(report));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) RunCardProcess(ready[1], stop[0], report[1]);
  char byte = 0;
  ASSERT_EQ(1, read(ready[0], &byte, 1));

  ASSERT_EQ(0, AlertManager_SetAlert("Uplink", "net", 2, "Port [AI1] is [AI2]", "3,down", nullptr, "network", 0, 0, 2));
  rapidjson::Document card;
  const std::string shown = AwaitCard([](const std::string& v) { return v != "<missing>"; });
  ASSERT_TRUE(ParseCard(shown, &card)) << shown;
  EXPECT_STREQ("1.0", card["content"]["version"].GetString());
  EXPECT_STREQ("Alarm Notification", card["content"]["issuer"].GetString());
  EXPECT_STREQ("Uplink", card["content"]["title"].GetString());
  EXPECT_STREQ("Port 3 is down", card["content"]["text"].GetString());
  ASSERT_EQ(1u, card["content"]["buttons"].Size());
  EXPECT_STREQ("OK", card["content"]["buttons"][0]["type"].GetString());
  EXPECT_STREQ("Close", card["content"]["buttons"][0]["title"].GetString());
  EXPECT_STREQ("Uplink/net", card["channel"].GetString());
  EXPECT_EQ(std::string(g699()) + "-cardviewer", card["originator"].GetString());
  EXPECT_TRUE(card["onOff"].IsTrue());
  EXPECT_TRUE(card["delete"].IsFalse());
  EXPECT_STREQ("Alert", card["type"].GetString());
  EXPECT_EQ("<missing>", Param(kRemoteCard));

  ASSERT_EQ(0, AlertManager_ClearAlert("Uplink", "net"));
  const std::string cleared = AwaitCard([](const std::string& v) { return v.find("\"delete\":true") != std::string::npos; });
  rapidjson::Document clear;
  ASSERT_TRUE(ParseCard(cleared, &clear)) << cleared;
  EXPECT_STREQ("Uplink/net", clear["channel"].GetString());
  EXPECT_STREQ("", clear["content"]["title"].GetString());
  EXPECT_TRUE(clear["content"]["buttons"].Empty());
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (g682(0) != VM_UI_NOTIFICATION_CLEARED && std::chrono::steady_clock::now() < deadline) {
    ConfigManager::Instance()->waitForChange(50);
  }
  EXPECT_EQ(VM_UI_NOTIFICATION_CLEARED, g682(0));

  // A third notification of the closed alarm: the other process writes nothing.
  ASSERT_EQ(VM_CFG_OK, s2353("changed", 0));
  ASSERT_EQ(1, write(stop[1], &byte, 1));
  char text[64] = {0};
  ASSERT_GT(read(report[0], text, sizeof text - 1), 0);
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_STREQ("cards=2 closed=1", text);
  EXPECT_EQ(cleared, Param(kCard));
  for (int fd : {ready[0], ready[1], stop[0], stop[1], report[0], report[1]}) close(fd);
}

}  // namespace
