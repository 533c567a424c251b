// Sending to the management client's queue: the two plain entry points and
// the agent that relays rebuilt events, compared byte for byte; and who
// writes each log line of the events units.
#include "events/EventTestSupport.h"
#include "events/auth/uAuthEventFactory.h"
#include "events/uDeviceManagementAgent.h"
#include "events/uDeviceManagementEventFactory.h"
#include "support/TestQueue.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Received(TestQueue& queue) {
  message_extra_t message;
  const int length = queue.Receive(message);
  const auto* bytes = reinterpret_cast<const uint8_t*>(&message);
  return length < 0 ? Bytes() : Bytes(bytes, bytes + length);
}

// 413, `type`, then `payload`, in the machine's byte order.
Bytes Message(int32_t type, Bytes payload) {
  const int32_t header[2] = {413, type};
  payload.insert(payload.begin(), reinterpret_cast<const uint8_t*>(header), reinterpret_cast<const uint8_t*>(header) + 8);
  return payload;
}

TEST(SendMessageToEmsc, SendsTheHeaderAndAPayloadUnlessItStartsWithZero) {
  TestQueue emsc(VM_MQ_ID_EMSC);
  const char zero_first[4] = {0, 'x', 'y', 'z'};
  const struct { int type; const char* data; unsigned int size; Bytes payload; } cases[] = {{5, nullptr, 10, {}},       {5, nullptr, 20000, {}},  {3, zero_first, 4, {}},
               {3, zero_first, 20000, {}}, {3, "ab", 2, {'a', 'b'}}, {3, "ab", 0, {}}};
  for (const auto& c : cases) {
    EXPECT_EQ(0, SendMessageToEmsc(c.type, c.data, c.size));
    EXPECT_EQ(Message(c.type, c.payload), Received(emsc)) << c.size;
  }
  EXPECT_EQ(0, SendIppStatusMessageToEmsc(7));
  EXPECT_EQ(Message(1, {7, 0, 0, 0}), Received(emsc));  // little-endian host and target
  EXPECT_TRUE(emsc.IsEmpty());
  setenv("VM_MQ_PREFIX", "dmtest_none_", 1);  // no queue: still 0
  EXPECT_EQ(0, SendMessageToEmsc(1, "x", 1));
  EXPECT_EQ(0, SendIppStatusMessageToEmsc(3));
}

TEST(Agent, RelaysRebuiltEventsWholeAndNothingElse) {
  TestQueue emsc(VM_MQ_ID_EMSC);
  uDeviceManagementAgent* agent = uDeviceManagementAgent::Instance();
  ProvisioningEv provisioning;
  provisioning.m_data.m_cfgUrl.SetValue(std::string("https://ems.example/cfg"));
  message_extra_t message;
  const int length = uEventSerializer::SerializeEvent(provisioning, message);
  const Bytes bytes(reinterpret_cast<const uint8_t*>(&message), reinterpret_cast<const uint8_t*>(&message) + length);
  agent->handleMessage(message);
  EXPECT_EQ(bytes, Received(emsc));
  agent->handleMessage(message, static_cast<unsigned int>(length));
  EXPECT_EQ(bytes, Received(emsc));
  agent->handleMessage(message, static_cast<unsigned int>(length) - 1);
  message.eventType = 2;  // not rebuilt
  agent->handleMessage(message);
  agent->handleMessage(message, static_cast<unsigned int>(length));
  EXPECT_TRUE(emsc.IsEmpty());
  EXPECT_EQ(-1, agent->SendMessageToQueue(&message, -1));
}

// Builds from a message of `type` and `length` bytes (-1: the unchecked call).
template <class Factory>
void Build(int32_t type, int length) {
  message_t message{};
  message.eventType = type;
  if (length < 0) Factory::GetInstance()->CreateEventFromMessage(message);
  if (length >= 0) Factory::GetInstance()->CreateEventFromMessage(message, static_cast<unsigned int>(length));
}
const std::string kBig(VM_MSG_PAYLOAD_SIZE + 1, 'p');

// Each distinct line once; a fixed source line where the management
// client's log filters key on it.
TEST(EventsLog, EachLineNamesItsModuleLevelUnitAndFunction) {
  using DmFactory = uDeviceManagementEventFactory;
  const char *kFactory = "uDeviceManagementEventFactory", *kAuth = "uAuthEventFactory", *kAgent = "uDeviceManagementAgent";
  // Each case: what causes the line, its module, unit, function, text, and source line (0: not fixed).
  const struct { std::function<void()> cause; int module; const char *unit, *function, *text; int line; } cases[] = {
      {[] { Build<DmFactory>(2, -1); }, 25, kFactory, "CreateEventFromMessage", "Error - Could not allocate event", 56},
      {[] { Build<uAuthEventFactory>(5, -1); }, 25, "auth/uAuthEventFactory", "CreateEventFromMessage",
       "Error - Could not allocate event", 50},
      {[] { Build<DmFactory>(1, 7); }, 25, kFactory, "CreateEventFromMessage", "Message of 7 bytes is shorter than", 0},
      {[] { Build<DmFactory>(1, 13); }, 25, kFactory, "CreateEventFromMessage", "Dropped SendIppStatusEv: its payload", 0},
      {[] { Build<uAuthEventFactory>(4, 6); }, 25, kAuth, "CreateEventFromMessage", "Message of 6 bytes is shorter", 0},
      {[] { Build<uAuthEventFactory>(4, 21); }, 25, kAuth, "CreateEventFromMessage", "Dropped AuthRejectResponseEv", 0},
      {[] { LocalConfigurationEv big; big.m_data.m_configPath.SetValue(kBig); uDeviceManagementAgent::Instance()->HandleRequest(big); },
       15, kAgent, "HandleRequest", "Failed to serialize event", 32},
      {[] { EXPECT_EQ(-1, uDeviceManagementAgent::Instance()->SendMessageToQueue(nullptr, -1)); }, 15, kAgent,
       "SendMessageToQueue", "No message to send (length -1)", 0},
      // The largest payload passes the bound (below), one byte more is refused.
      {[] { EXPECT_EQ(0, SendMessageToEmsc(1, kBig.data(), VM_MSG_PAYLOAD_SIZE + 1)); }, 15, kAgent, "SendMessageToEmsc",
       "Payload of 12285 bytes for event type 1 exceeds 12284 bytes", 0},
  };
  for (const auto& c : cases) {
    LogCapture log;
    c.cause();
    EXPECT_TRUE(log.Logged(c.module, LOG_ERR, c.unit, c.function, c.text));
    EXPECT_TRUE(c.line == 0 || log.Find(LOG_ERR, c.text)->line == c.line) << c.text;
  }
  LogCapture log;
  SendMessageToEmsc(1, kBig.data(), VM_MSG_PAYLOAD_SIZE);
  EXPECT_FALSE(log.Contains(LOG_ERR, "exceeds"));
}

}  // namespace
