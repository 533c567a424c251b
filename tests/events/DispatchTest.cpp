#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <string>
#include <vector>

#include "events/uDeviceManagementEventHandler.h"
#include "support/LogCapture.h"

namespace {

// Records which overload each event reached.
class Recorder : public uDeviceManagementEventHandler {
 public:
  using uDeviceManagementEventHandler::HandleEvent;
  void HandleEvent(SendIppStatusEv& event) override { seen.push_back(event.GetStr()); }
  void HandleEvent(LocalConfigurationEv& event) override { seen.push_back(event.GetStr()); }
  void HandleEvent(AndriodFWUpdateEv& event) override { seen.push_back(event.GetStr()); }
  std::vector<std::string> seen;
};

// A state that handles provisioning itself and nothing else.
class ProvisioningState : public uDeviceManagementStateHandler {
 public:
  using uDeviceManagementStateHandler::HandleEvent;
  void HandleEvent(ProvisioningEv&) override { ++provisioned; }
  int provisioned = 0;
};

int CountNotes(const LogCapture& log, const std::string& text) {
  int count = 0;
  for (const CapturedLine& line : log.lines()) count += line.text == text;
  return count;
}

TEST(Dispatch, EventsReachTheOverloadOfTheirClass) {
  auto recorder = boost::make_shared<Recorder>();
  auto fw = boost::make_shared<AndriodFWUpdateEv>();
  auto local = boost::make_shared<LocalConfigurationEv>();
  auto status = boost::make_shared<SendIppStatusEv>();
  auto sync = boost::make_shared<SendSyncConfigEv>();
  LogCapture log;
  for (const boost::shared_ptr<uDeviceManagementEvent>& event :
       std::vector<boost::shared_ptr<uDeviceManagementEvent>>{fw, local, status, sync}) {
    event->SetReceiver(recorder);
    EXPECT_TRUE(event->BaseDispatch());
  }
  EXPECT_EQ((std::vector<std::string>{"AndriodFWUpdateEv", "LocalConfigurationEv",
                                      "SendIppStatusEv"}),
            recorder->seen);
  EXPECT_EQ(1, CountNotes(log, "uHTTPHandler handles SendSyncConfigEv: Unhandled event"));
  EXPECT_EQ(1, CountNotes(log, "uHTTPHandler handles SendSyncConfigEv"));
}

TEST(Dispatch, PlainHandlerLogsEachEventUnhandledOnce) {
  auto handler = boost::make_shared<uDeviceManagementEventHandler>();
  std::vector<boost::shared_ptr<uDeviceManagementEvent>> events = {
      boost::make_shared<GetLocalCertEv>(),     boost::make_shared<SendIppStatusEv>(),
      boost::make_shared<SendAlertEv>(),        boost::make_shared<SendSyncConfigEv>(),
      boost::make_shared<ProvisioningEv>(),     boost::make_shared<ProvSecurityEv>(),
      boost::make_shared<ProvDeviceCertEv>(),   boost::make_shared<PrivateLabelingEv>(),
      boost::make_shared<UserConfirmationEv>(), boost::make_shared<AndriodFWUpdateEv>(),
      boost::make_shared<LocalConfigurationEv>(), boost::make_shared<EmsFsFileChangeEv>()};
  LogCapture log;
  for (const auto& event : events) {
    event->SetReceiver(handler);
    ASSERT_TRUE(event->BaseDispatch());
  }
  for (const auto& event : events) {
    EXPECT_EQ(1, CountNotes(log, std::string("uHTTPHandler handles ") + event->GetStr() +
                                     ": Unhandled event"))
        << event->GetStr();
  }
  EXPECT_EQ(2 * events.size(), log.lines().size());
}

TEST(Dispatch, ExpiredReceiverIsNotDelivered) {
  auto event = boost::make_shared<SendIppStatusEv>();
  {
    auto handler = boost::make_shared<Recorder>();
    event->SetReceiver(handler);
    event->SetSender(handler);
    EXPECT_EQ(handler, event->GetReceiver());
  }
  EXPECT_FALSE(event->GetReceiver());
  EXPECT_FALSE(event->GetSender());
  EXPECT_FALSE(event->BaseDispatch());
}

TEST(StateHandler, UnhandledEventsFallThroughToTheReceiver) {
  auto owner = boost::make_shared<Recorder>();
  ProvisioningState state;
  SendIppStatusEv status;
  status.SetReceiver(owner);
  ProvisioningEv provisioning;
  provisioning.SetReceiver(owner);
  LogCapture log;
  status.Dispatch(state);
  provisioning.Dispatch(state);
  EXPECT_EQ(std::vector<std::string>{"SendIppStatusEv"}, owner->seen);
  EXPECT_EQ(1, state.provisioned);

  // Owner gone: dropped without a word.
  owner.reset();
  status.Dispatch(state);
  EXPECT_TRUE(log.lines().empty());
}

TEST(StateHandler, StateAddressedItselfLogsInsteadOfLooping) {
  auto state = boost::make_shared<ProvisioningState>();
  SendSyncConfigEv sync;
  sync.SetReceiver(state);
  LogCapture log;
  EXPECT_TRUE(sync.BaseDispatch());
  EXPECT_EQ(1, CountNotes(log, "uHTTPHandler handles SendSyncConfigEv: Unhandled event"));
}

}  // namespace
