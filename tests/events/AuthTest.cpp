#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cstring>
#include <string>
#include <vector>

#include "events/auth/uAuthEventFactory.h"
#include "events/auth/uAuthHandler.h"
#include "platform/uIPCSender.h"
#include "support/LogCapture.h"
#include "support/TestQueue.h"

namespace {

class Sender : public uIPCSender {};

boost::shared_ptr<uAuthEvent> RoundTrip(uAuthEvent& event) {
  TestQueue queue(50);
  Sender sender;
  if (sender.SendEvent(event, 50) != 0) return {};
  message_extra_t message;
  const int length = queue.Receive(message);
  if (length < 8) return {};
  EXPECT_EQ(264, message.family);
  return uAuthEventFactory::GetInstance()->CreateEventFromMessage(
      message, static_cast<unsigned int>(length));
}

template <class T>
T* As(const boost::shared_ptr<uAuthEvent>& event) {
  return dynamic_cast<T*>(event.get());
}

TEST(AuthEvents, AnswerTheirNumbersAndStartEmpty) {
  AuthGetUrlAndCodeEv get;
  AuthCancelUrlAndCodeEv cancel;
  AuthGetUrlAndCodeResponseEv url;
  AuthCredentialsResponseEv credentials;
  AuthRejectResponseEv reject;
  const std::vector<uAuthEvent*> events = {&get, &cancel, &url, &credentials, &reject};
  const char* names[] = {"AuthGetUrlAndCodeEv", "AuthCancelUrlAndCodeEv",
                         "AuthGetUrlAndCodeResponseEv", "AuthCredentialsResponseEv",
                         "AuthRejectResponseEv"};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(264, events[i]->getEventFamilyType());
    EXPECT_EQ(i, events[i]->getEventType());
    EXPECT_EQ(i < 2 ? 0 : 1, events[i]->EventDirection());
    EXPECT_STREQ(names[i], events[i]->GetStr());
    EXPECT_EQ(i != 1, events[i]->getEventData() != nullptr);
  }
  EXPECT_STREQ("RejectReponseData", reject.getEventData()->GetName());
  EXPECT_EQ(9u, credentials.getEventData()->GetChildCount());
  for (const IString& text : credentials.m_data.m_strings) {
    EXPECT_TRUE(text.IsSet());
    EXPECT_EQ("", text.GetString());
  }
}

TEST(AuthFactory, EveryTypeSurvivesAQueueWithItsPositionalFields) {
  AuthGetUrlAndCodeEv get;
  get.m_data.m_integer1.SetValue(11);
  get.m_data.m_integer2.SetValue(-12);
  const auto get_back_event = RoundTrip(get);
  auto* get_back = As<AuthGetUrlAndCodeEv>(get_back_event);
  ASSERT_NE(nullptr, get_back);
  EXPECT_EQ(11, get_back->m_data.m_integer1.GetValue());
  EXPECT_EQ(-12, get_back->m_data.m_integer2.GetValue());

  AuthCancelUrlAndCodeEv cancel;
  EXPECT_TRUE(As<AuthCancelUrlAndCodeEv>(RoundTrip(cancel)));

  AuthGetUrlAndCodeResponseEv url;
  url.m_data.m_integer1.SetValue(900);
  url.m_data.m_string1.SetValue(std::string("https://login.example/device"));
  url.m_data.m_string2.SetValue(std::string("ABCD-EFGH"));
  url.m_data.m_string3.SetUnset();
  const auto url_back_event = RoundTrip(url);
  auto* url_back = As<AuthGetUrlAndCodeResponseEv>(url_back_event);
  ASSERT_NE(nullptr, url_back);
  EXPECT_EQ(900, url_back->m_data.m_integer1.GetValue());
  EXPECT_EQ("https://login.example/device", url_back->m_data.m_string1.GetString());
  EXPECT_EQ("ABCD-EFGH", url_back->m_data.m_string2.GetString());
  EXPECT_FALSE(url_back->m_data.m_string3.IsSet());

  AuthCredentialsResponseEv credentials;
  credentials.m_data.m_integer1.SetValue(1);
  credentials.m_data.m_integer2.SetValue(3600);
  for (int i = 0; i < AuthCredentialsResponseData::kStrings; ++i) {
    credentials.m_data.m_strings[i].SetValue(std::string(static_cast<size_t>(i) * 100, 'a' + i));
  }
  const auto credentials_back_event = RoundTrip(credentials);
  auto* credentials_back = As<AuthCredentialsResponseEv>(credentials_back_event);
  ASSERT_NE(nullptr, credentials_back);
  EXPECT_EQ(1, credentials_back->m_data.m_integer1.GetValue());
  EXPECT_EQ(3600, credentials_back->m_data.m_integer2.GetValue());
  for (int i = 0; i < AuthCredentialsResponseData::kStrings; ++i) {
    EXPECT_EQ(credentials.m_data.m_strings[i].GetString(),
              credentials_back->m_data.m_strings[i].GetString());
  }

  AuthRejectResponseEv reject;
  reject.m_data.m_integer1.SetValue(4);
  reject.m_data.m_string1.SetValue(std::string("expired_token"));
  reject.m_data.m_integer2.SetValue(400);
  const auto reject_back_event = RoundTrip(reject);
  auto* reject_back = As<AuthRejectResponseEv>(reject_back_event);
  ASSERT_NE(nullptr, reject_back);
  EXPECT_EQ(4, reject_back->m_data.m_integer1.GetValue());
  EXPECT_EQ("expired_token", reject_back->m_data.m_string1.GetString());
  EXPECT_EQ(400, reject_back->m_data.m_integer2.GetValue());
}

TEST(AuthFactory, TypesFromFiveAndNegativeOnesLogAndYieldNothing) {
  message_t message;
  memset(&message, 0, sizeof message);
  message.family = 264;
  for (int32_t type : {5, 6, 413, -1, INT32_MIN}) {
    SCOPED_TRACE(type);
    message.eventType = type;
    LogCapture log;
    EXPECT_FALSE(uAuthEventFactory::GetInstance()->CreateEventFromMessage(message));
    ASSERT_EQ(1u, log.lines().size());
    const CapturedLine& line = log.lines()[0];
    EXPECT_EQ(25, line.module);
    EXPECT_EQ("auth/uAuthEventFactory", line.unit);
    EXPECT_EQ("CreateEventFromMessage", line.function);
    EXPECT_EQ(50, line.line);
    EXPECT_EQ("Error - Could not allocate event", line.text);
  }
  // A received message checked against its length.
  message.eventType = 4;
  LogCapture log;
  EXPECT_FALSE(uAuthEventFactory::GetInstance()->CreateEventFromMessage(message, 4));
  EXPECT_FALSE(uAuthEventFactory::GetInstance()->CreateEventFromMessage(message, 8 + 11));
  EXPECT_FALSE(uAuthEventFactory::GetInstance()->CreateEventFromMessage(message, 8 + 13));
  EXPECT_TRUE(As<AuthRejectResponseEv>(
      uAuthEventFactory::GetInstance()->CreateEventFromMessage(message, 8 + 12)));
}

class Owner : public uAuthHandler {
 public:
  using uAuthHandler::HandleEvent;
  void HandleEvent(AuthRejectResponseEv& event) override { seen.push_back(event.GetStr()); }
  std::vector<std::string> seen;
};

class WaitingForCode : public uAuthStateHandler {
 public:
  using uAuthStateHandler::HandleEvent;
  void HandleEvent(AuthGetUrlAndCodeResponseEv&) override { ++codes; }
  int codes = 0;
};

TEST(AuthDispatch, HandlerAndStateHandlerBehaveLikeTheirDeviceManagementPeers) {
  auto owner = boost::make_shared<Owner>();
  auto reject = boost::make_shared<AuthRejectResponseEv>();
  auto cancel = boost::make_shared<AuthCancelUrlAndCodeEv>();
  auto code = boost::make_shared<AuthGetUrlAndCodeResponseEv>();
  reject->SetReceiver(owner);
  cancel->SetReceiver(owner);
  code->SetReceiver(owner);
  LogCapture log;
  EXPECT_TRUE(reject->BaseDispatch());
  EXPECT_TRUE(cancel->BaseDispatch());
  EXPECT_EQ(std::vector<std::string>{"AuthRejectResponseEv"}, owner->seen);
  EXPECT_TRUE(log.Contains(LOG_DEBUG, "handles AuthCancelUrlAndCodeEv: Unhandled event"));

  WaitingForCode state;
  code->Dispatch(state);
  reject->Dispatch(state);  // falls through to the owner
  EXPECT_EQ(1, state.codes);
  EXPECT_EQ(2u, owner->seen.size());

  owner.reset();
  const size_t lines = log.lines().size();
  reject->Dispatch(state);  // owner gone: dropped silently
  EXPECT_EQ(lines, log.lines().size());
  EXPECT_FALSE(reject->BaseDispatch());
}

}  // namespace
