#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "alerts/AlertTestSupport.h"
#include "alerts/AlertUINotifier.h"

namespace {

const char* const kCard = "command/card";
const char* const kRemoteCard = "remote/console/command/card";

// The card the notifier builds for a record.
std::string BuiltCard(const std::string& issuer, const std::string& name, const std::string& text,
                      const std::string& originator = uHeroCard::BuildOriginator("")) {
  return CardText(name + "/s", false, text, issuer, name, R"({"type":"OK","title":"Close","value":"","icon":""})", true,
                  "Alert", originator);
}

class Notifier : public AlertTest {
 protected:
  AlertUINotifier* notifier() { return AlertUINotifier::GetInstance(); }
  testing::AssertionResult Logged(int level, const char* function, const std::string& text) {
    return AlertTest::Logged(level, function, text, "AlertUINotifier");
  }
};

TEST_F(Notifier, InitShowsStandingAlarmsAgainAndEventsMakeCardsUnlessDisabled) {
  ASSERT_EQ(0, AlertManager_SetBasicAlert("Basic", "s", 2));
  ASSERT_EQ(0, AlertManager_SetAlert("Remote", "s", 2, "r [AI1]", "x", nullptr, nullptr, 0, 0, 3));
  ASSERT_EQ(0, AlertManager_SetEvent("NotReplayed", "s", 1, nullptr, nullptr, nullptr, nullptr, 0, 0, 2));
  Deliver();
  notifier()->Init();
  EXPECT_TRUE(Logged(LOG_DEBUG, "Init", "Init AlertUINotifier"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "AlertCallback", "UI notification for Alert Basic is disabled"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "AlertCallback", "Report Alert - name: Remote, source component: s, severity: 2, uiNotification = 3"));
  EXPECT_EQ("<missing>" + BuiltCard("Alarm Notification", "Remote", "r x"), Param(kCard) + Param(kRemoteCard));
  ASSERT_EQ(1, AlertManager_SetEvent("Quiet", "s", 1, nullptr, nullptr, nullptr, nullptr, 0, 0, 0));
  ASSERT_EQ(2, AlertManager_SetEvent("Closed", "s", 1, "c", nullptr, nullptr, nullptr, 0, 0, 1));
  Deliver();
  EXPECT_TRUE(Logged(LOG_DEBUG, "EventCallback", "UI notification for Event Quiet is disabled"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "EventCallback", "Report Event - name: Closed, source component: s, severity: 1"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "CreateCard", "card = \n" + BuiltCard("Event Notification", "Closed", "c")));
  EXPECT_EQ("<missing>", Param(kCard));  // value 1 builds the card but has no key
  ASSERT_EQ(3, AlertManager_SetEvent("Shown", "s", 1, "up", nullptr, nullptr, nullptr, 0, 0, 2));
  Deliver();
  EXPECT_EQ(BuiltCard("Event Notification", "Shown", "up"), Param(kCard));
  // A card given in additional info 2 is passed on unchecked.
  ASSERT_EQ(0, AlertManager_SetAlert("Raw", "s", 2, "ignored", nullptr, "<card/>", nullptr, 0, 0, 2));
  Deliver();
  EXPECT_TRUE(Logged(LOG_DEBUG, "CreateCard", "Get card from addInfo2"));
  EXPECT_EQ("<card/>", Param(kCard));
}

TEST_F(Notifier, BothKeysInModeFourWithTheConsoleAdaptationOnlyAsACheck) {
  const std::string given = R"({"content":{"issuer":"Setup","buttons":[{"type":"Set_Parameter","value":"audio/volume"},)"
                            R"({"type":"Set_Parameter","value":"remote/audio/mute"},{"type":"OK","value":"x/y"}]}})";
  EXPECT_EQ(CardText("", false, "", "Front of room -Setup", "",
                     R"({"type":"Set_Parameter","title":"","value":"remote/for/audio/volume","icon":""},)"
                     R"({"type":"Set_Parameter","title":"","value":"remote/audio/mute","icon":""},)"
                     R"({"type":"OK","title":"","value":"x/y","icon":""})"),
            notifier()->CustomizeCardForRemote(given));
  notifier()->OpenCard(VM_UI_NOTIFICATION_DEVICE_AND_REMOTE, given);
  EXPECT_EQ(given + given, Param(kCard) + Param(kRemoteCard));
  // A card the console cannot take goes to the device only.
  notifier()->OpenCard(VM_UI_NOTIFICATION_DEVICE_AND_REMOTE, "{broken");
  EXPECT_TRUE(Logged(LOG_ERR, "CustomizeCardForRemote", "CustomizeCardForRemote failed"));
  EXPECT_TRUE(Logged(LOG_ERR, "DeSerializerCard", "uJson::DeSerializer failed"));
  EXPECT_EQ("{broken" + given, Param(kCard) + Param(kRemoteCard));
  Written();
  for (int mode : {0, 1, 9}) notifier()->OpenCard(static_cast<vmTCfgTypeStatusAlarmUiNotification>(mode), given);
  EXPECT_TRUE(Written().empty());
}

// The card's text fills the 2048-byte buffer once its end is counted; a card
// that cannot be written is reported.
TEST_F(Notifier, ACardOfUpTo2047BytesIsBuiltALongerOneIsEmpty) {
  SystemAlert record;
  record.m_name = "N";
  record.m_sourceComponent = "s";
  record.m_description = std::string(2047 - BuiltCard("Alarm Notification", "N", "").size(), 'w');
  EXPECT_EQ(BuiltCard("Alarm Notification", "N", record.m_description), notifier()->BuildCardFromAlarm("Alarm Notification", &record));
  record.m_description += 'w';
  EXPECT_EQ("", notifier()->BuildCardFromAlarm("Alarm Notification", &record));
  EXPECT_TRUE(Logged(LOG_ERR, "SerializeCard", "cant display card , uJson::Serializer failed"));
  setenv("VM_CFG_BUSY_TIMEOUT_MS", "50", 1);
  sqlite3* other = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(db_.path().c_str(), &other) | sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
  notifier()->OpenCard(VM_UI_NOTIFICATION_REMOTE, "{}");
  EXPECT_TRUE(Logged(LOG_ERR, "OpenCard", "Failed to write the card to remote/console/command/card"));
  sqlite3_close(other);
}

// The whole path with two processes on one database: this process raises
// and clears an alarm; the child shows cards as the device's user interface
// would, and exits with 0 when it made two cards and closed the cleared one.
TEST_F(Notifier, AnAlarmRaisedHereIsShownAndClosedByTheOtherProcess) {
  int ready[2], stop[2];
  ASSERT_EQ(0, pipe(ready) | pipe(stop));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    prctl(PR_SET_NAME, "cardviewer", 0, 0, 0);
    log_.Clear();
    notifier()->Init();
    pollfd stopped = {stop[0], POLLIN, 0};
    if (write(ready[1], "r", 1) != 1) _exit(2);
    for (int rounds = 0; poll(&stopped, 1, 0) == 0 && rounds < 1500; ++rounds) {
      ConfigManager::Instance()->waitForChange(20);
      Deliver();
    }
    Deliver();
    int cards = 0;
    for (const CapturedLine& line : log_.lines()) cards += line.text.rfind("card = ", 0) == 0 ? 1 : 0;
    _exit(cards == 2 && Logged(LOG_DEBUG, "AlertCallback", "Alert Uplink is cleared") &&
                  Logged(LOG_DEBUG, "CreateCard", "Severity is cleared, get clear card") ? 0 : 10 + cards);
  }
  char byte = 0;
  ASSERT_EQ(1, read(ready[0], &byte, 1));
  const std::string viewer = "lobby-desk-phone-cardviewer";
  ASSERT_EQ(0, AlertManager_SetAlert("Uplink", "s", 2, "Port [AI1] is [AI2]", "3,down", nullptr, "network", 0, 0, 2));
  const std::string shown = BuiltCard("Alarm Notification", "Uplink", "Port 3 is down", viewer);
  const std::string cleared = CardText("Uplink/s", true, "", "", "", "", false, "", viewer);
  for (const std::string& card : {shown, cleared}) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while ((Param(kCard) != card || (card == cleared && g682(0) != 1)) && std::chrono::steady_clock::now() < deadline) {
      ConfigManager::Instance()->waitForChange(50);
    }
    EXPECT_EQ(card, Param(kCard));
    ASSERT_TRUE(card == cleared || AlertManager_ClearAlert("Uplink", "s") == 0);  // shown: clear it
  }
  EXPECT_EQ(VM_UI_NOTIFICATION_CLEARED, g682(0));
  EXPECT_EQ("<missing>", Param(kRemoteCard));
  // A third notification of the closed alarm: the other process writes nothing.
  ASSERT_EQ(VM_CFG_OK, s2353("changed", 0));
  ASSERT_EQ(1, write(stop[1], &byte, 1));
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "cards made: " << WEXITSTATUS(status) - 10;
  EXPECT_EQ(cleared, Param(kCard));
  for (int fd : {ready[0], ready[1], stop[0], stop[1]}) close(fd);
}

}  // namespace
