#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "alerts/AlertTestSupport.h"
#include "alerts/AlertUINotifier.h"

namespace {

const char* const kCard = "command/card";
const char* const kRemoteCard = "remote/console/command/card";

// The card the notifier builds for a record of source "s".
std::string BuiltCard(const std::string& issuer, const std::string& name, const std::string& text,
                      const std::string& originator = uHeroCard::BuildOriginator("")) {
  return CardText(name + "/s", false, text, issuer, name, R"({"type":"OK","title":"Close","value":"","icon":""})",
                  true, "Alert", originator);
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
  ASSERT_EQ(0, Alarm("Remote", "s", 2, 3, "<card/>"));  // a given card is passed on unchecked
  ASSERT_EQ(0, Event("NotReplayed", "s", 1, 2));
  Deliver();
  notifier()->Init();
  EXPECT_TRUE(Logged(LOG_DEBUG, "AlertCallback", "UI notification for Alert Basic is disabled"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "AlertCallback", "Report Alert - name: Remote, source component: s, severity: 2, "
                                                 "uiNotification = 3"));
  EXPECT_EQ("<missing><card/>", Param(kCard) + Param(kRemoteCard));
  ASSERT_EQ(1, Event("Closed", "s", 1, 1, nullptr, "c"));
  Deliver();
  EXPECT_TRUE(Logged(LOG_DEBUG, "EventCallback", "Report Event - name: Closed, source component: s, severity: 1"));
  EXPECT_TRUE(Logged(LOG_DEBUG, "CreateCard", "card = \n" + BuiltCard("Event Notification", "Closed", "c")));
  EXPECT_EQ("<missing>", Param(kCard));  // value 1 builds the card but has no key
  ASSERT_EQ(2, Event("Shown", "s", 1, 2, nullptr, "up [AI1]", "1"));
  Deliver();
  EXPECT_EQ(BuiltCard("Event Notification", "Shown", "up 1"), Param(kCard));
}

TEST_F(Notifier, BothKeysInModeFourWithTheConsoleAdaptationOnlyAsACheck) {
  const std::string given = R"({"content":{"issuer":"I","buttons":[{"type":"Set_Parameter","value":"audio/volume"},)"
                            R"({"type":"Set_Parameter","value":"remote/mute"},{"type":"OK","value":"x/y"}]}})";
  EXPECT_EQ(CardText("", false, "", "Front of room -I", "",
                     R"({"type":"Set_Parameter","title":"","value":"remote/for/audio/volume","icon":""},)"
                     R"({"type":"Set_Parameter","title":"","value":"remote/mute","icon":""},)"
                     R"({"type":"OK","title":"","value":"x/y","icon":""})"),
            notifier()->CustomizeCardForRemote(given));
  notifier()->OpenCard(VM_UI_NOTIFICATION_DEVICE_AND_REMOTE, given);
  EXPECT_EQ(given + given, Param(kCard) + Param(kRemoteCard));
  // A card the console cannot take goes to the device only.
  notifier()->OpenCard(VM_UI_NOTIFICATION_DEVICE_AND_REMOTE, "{broken");
  EXPECT_TRUE(Logged(LOG_ERR, "CustomizeCardForRemote", "CustomizeCardForRemote failed"));
  EXPECT_FALSE(Logged(LOG_ERR, "DeSerializerCard", "uJson::DeSerializer failed"));  // one line only
  EXPECT_EQ("{broken" + given, Param(kCard) + Param(kRemoteCard));
}

// The card's text fills the 2048-byte buffer once its end is counted.
TEST_F(Notifier, ACardOfUpTo2047BytesIsBuiltALongerOneIsEmpty) {
  SystemAlert record;
  record.m_name = "N";
  record.m_sourceComponent = "s";
  record.m_description = std::string(2047 - BuiltCard("Alarm Notification", "N", "").size(), 'w');
  EXPECT_EQ(BuiltCard("Alarm Notification", "N", record.m_description),
            notifier()->BuildCardFromAlarm("Alarm Notification", &record));
  record.m_description += 'w';
  EXPECT_EQ("", notifier()->BuildCardFromAlarm("Alarm Notification", &record));
  EXPECT_TRUE(Logged(LOG_ERR, "SerializeCard", "cant display card , uJson::Serializer failed"));
}

// With standard input closed the name's file opens as descriptor 0, which
// counts as a failed open: no process name, and the descriptor is closed.
TEST_F(Notifier, AnOriginatorWhoseNameOpensAsDescriptorZeroHasNoName) {
  Param("device/name");  // the database is open before: it would take descriptor 0 itself
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const std::string originator = uHeroCard::BuildOriginator("x");
  const bool closed = fcntl(STDIN_FILENO, F_GETFD) == -1;
  dup2(input, STDIN_FILENO);
  close(input);
  EXPECT_TRUE(originator == "lobby-desk-phone--x" && closed) << originator;
}

// Two processes on one database: this one raises and clears an alarm; the
// other, started after the raise, shows and closes its card as the device's
// user interface would, and exits 0 when it logged the clearing.
TEST_F(Notifier, AnAlarmRaisedHereIsShownAndClosedByTheOtherProcess) {
  ASSERT_EQ(0, Alarm("Uplink", "s", 2, 2, nullptr, "Port [AI1] is [AI2]", "3,down"));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    prctl(PR_SET_NAME, "cardviewer", 0, 0, 0);
    notifier()->Init();
    for (int rounds = 0; manager()->GetSystemAlert(0)->m_category != "changed" && rounds < 1500; ++rounds) {
      ConfigManager::Instance()->waitForChange(20);
      Deliver();
    }
    _exit(Logged(LOG_DEBUG, "AlertCallback", "Alert Uplink is cleared") ? 0 : 1);
  }
  const std::string viewer = "lobby-desk-phone-cardviewer";
  const std::string cards[] = {BuiltCard("Alarm Notification", "Uplink", "Port 3 is down", viewer),
                               CardText("Uplink/s", true, "", "", "", "", false, "", viewer)};
  for (int cleared = 0; cleared < 2; ++cleared) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while ((Param(kCard) != cards[cleared] || g682(0) != 2 - cleared) && std::chrono::steady_clock::now() < deadline) {
      ConfigManager::Instance()->waitForChange(50);
    }
    EXPECT_EQ(cards[cleared] + " ui " + std::to_string(2 - cleared), Param(kCard) + " ui " + std::to_string(g682(0)));
    // Cleared next; then a third notification, of the closed alarm.
    ASSERT_EQ(0, cleared == 0 ? AlertManager_ClearAlert("Uplink", "s") : s2353("changed", 0));
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
