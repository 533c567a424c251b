// What the event tests of both families share: a round trip through the
// serializer and a factory, a record as JSON text, and the checks that every
// class of a family answers its numbers, rebuilds with its record and is
// delivered as the handlers define.
#ifndef DEVMGMT_TESTS_EVENTS_EVENTTESTSUPPORT_H_
#define DEVMGMT_TESTS_EVENTS_EVENTTESTSUPPORT_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <boost/make_shared.hpp>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "platform/uEventSerializer.h"
#include "platform/uJson.h"
#include "support/JsonText.h"
#include "support/LogCapture.h"

inline std::string Hex(const uint8_t* bytes, int length) {
  std::string hex;
  boost::algorithm::hex_lower(bytes, bytes + std::max(length, 0), std::back_inserter(hex));
  return hex;
}

template <class Event>
struct EventRow {
  std::function<boost::shared_ptr<Event>()> make;
  const char* name;
  int type;
  int direction;
  bool built;          // rebuilt from a message by the factory
  std::string fresh;   // the payload of an event as built, in hex
  std::string values;  // JSON of its record filled with other values, "(none)" without one
};
#define EVENT_ROW(Base, Class, ...) {[] { return boost::shared_ptr<Base>(boost::make_shared<Class>()); }, #Class, __VA_ARGS__}

// Each row's event answers its numbers and name, is sent as built byte for
// byte, goes through `Factory` with its record whole (or is not built), and a handler that overrides nothing notes it once as unhandled.
template <class Factory, class Handler, class Event>
void ExpectFamily(int family, const std::vector<EventRow<Event>>& rows) {
  auto plain = boost::make_shared<Handler>();
  for (const EventRow<Event>& row : rows) {
    SCOPED_TRACE(row.name);
    boost::shared_ptr<Event> event = row.make();
    EXPECT_EQ(family, event->getEventFamilyType());
    EXPECT_EQ(row.type, event->getEventType());
    EXPECT_EQ(row.direction, event->EventDirection());
    EXPECT_STREQ(row.name, event->GetStr());
    EXPECT_FALSE(event->BaseDispatch()) << "no receiver was set";
    message_extra_t message;
    EXPECT_EQ(row.fresh, Hex(message.data, uEventSerializer::SerializeEvent(*event, message) - 8));
    if (event->getEventData() != nullptr) {
      ASSERT_NE(0, uJson::DeSerializer::DeSerialize(*event->getEventData(), row.values));
    }
    const int length = uEventSerializer::SerializeEvent(*event, message);
    const boost::shared_ptr<Event> back =
        Factory::GetInstance()->CreateEventFromMessage(message, static_cast<unsigned int>(length));
    ASSERT_EQ(row.built, !!back);
    if (back) {
      EXPECT_STREQ(row.name, back->GetStr());
      EXPECT_EQ(row.values, back->getEventData() ? ToJson(*back->getEventData()) : "(none)");
    }
    event->SetReceiver(plain);
    LogCapture log;
    EXPECT_TRUE(event->BaseDispatch());
    ASSERT_EQ(2u, log.lines().size());
    EXPECT_EQ(std::string("uHTTPHandler handles ") + row.name + ": Unhandled event", log.lines()[1].text);
  }
}

// `Factory` builds nothing for the `others` numbers, and builds `type` only
// from a message of `length` bytes.
template <class Factory>
void ExpectBuilds(std::initializer_list<int32_t> others, int32_t type, unsigned int length) {
  Factory* factory = Factory::GetInstance();
  message_t message{};
  for (int32_t other : others) {
    message.eventType = other;
    EXPECT_FALSE(factory->CreateEventFromMessage(message)) << other;
  }
  message.eventType = type;
  for (unsigned int wrong : {7u, length - 1, length + 1}) EXPECT_FALSE(factory->CreateEventFromMessage(message, wrong));
  EXPECT_TRUE(factory->CreateEventFromMessage(message, length));
}

// A handler that records the events of one class it handles.
template <class Base, class Handled>
struct Recorder : Base {
  using Base::HandleEvent;
  void HandleEvent(Handled& event) override { seen.push_back(event.GetStr()); }
  std::vector<std::string> seen;
};

// A state object hands what it does not handle to the event's receiver
// while it lives, drops it silently after, and notes an event addressed to
// itself instead of handing it to itself for ever.
template <class Handler, class StateHandler, class ForOwner, class ForState, class Other>
void ExpectStateHandler() {
  auto owner = boost::make_shared<Recorder<Handler, ForOwner>>();
  auto state = boost::make_shared<Recorder<StateHandler, ForState>>();
  ForOwner for_owner;  // handled by the owner
  ForState for_state;  // handled by the state
  Other other;         // handled by neither
  for_owner.SetReceiver(owner);
  for_state.SetReceiver(owner);
  other.SetReceiver(state);
  LogCapture log;
  for_owner.Dispatch(*state);
  for_state.Dispatch(*state);
  EXPECT_EQ(std::vector<std::string>{for_owner.GetStr()}, owner->seen);
  EXPECT_EQ(std::vector<std::string>{for_state.GetStr()}, state->seen);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(other.BaseDispatch());
  ASSERT_EQ(2u, log.lines().size());
  EXPECT_EQ(std::string("uHTTPHandler handles ") + other.GetStr() + ": Unhandled event", log.lines()[1].text);
  owner.reset();
  log.Clear();
  for_owner.Dispatch(*state);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(for_owner.BaseDispatch());
}

#endif  // DEVMGMT_TESTS_EVENTS_EVENTTESTSUPPORT_H_
