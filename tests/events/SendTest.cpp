#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "events/uDeviceManagementAgent.h"
#include "events/uDeviceManagementEventFactory.h"
#include "platform/uEventSerializer.h"
#include "support/LogCapture.h"
#include "support/TestQueue.h"

namespace {

std::vector<uint8_t> Bytes(const message_extra_t& message, int length) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&message);
  return std::vector<uint8_t>(bytes, bytes + length);
}

std::vector<uint8_t> Expected(int32_t type, std::vector<uint8_t> payload) {
  const int32_t family = 413;
  std::vector<uint8_t> bytes(reinterpret_cast<const uint8_t*>(&family),
                             reinterpret_cast<const uint8_t*>(&family) + 4);
  for (int i = 0; i < 4; ++i) bytes.push_back(reinterpret_cast<const uint8_t*>(&type)[i]);
  for (uint8_t byte : payload) bytes.push_back(byte);
  return bytes;
}

TEST(SendMessageToEmsc, BuildsTheHeaderAndHonoursTheFirstByteRule) {
  TestQueue emsc(VM_MQ_ID_EMSC);
  const char zero_first[4] = {0, 'x', 'y', 'z'};
  // Without a payload to copy the size is not looked at, however large.
  const struct {
    int type;
    const char* data;
    unsigned int size;
    std::vector<uint8_t> payload;
  } cases[] = {
      {5, nullptr, 10, {}},      {5, nullptr, 20000, {}},  {3, zero_first, 4, {}},
      {3, zero_first, 20000, {}}, {3, "ab", 2, {'a', 'b'}}, {3, "ab", 0, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    EXPECT_EQ(0, SendMessageToEmsc(c.type, c.data, c.size));
    message_extra_t got;
    const int length = emsc.Receive(got);
    ASSERT_EQ(static_cast<int>(8 + c.payload.size()), length);
    EXPECT_EQ(Expected(c.type, c.payload), Bytes(got, length));
  }
  EXPECT_TRUE(emsc.IsEmpty());
}

TEST(SendMessageToEmsc, ReturnsZeroWhenNothingCanBeSent) {
  UseProcessQueuePrefix();  // no queue 15 exists
  LogCapture log;
  EXPECT_EQ(0, SendMessageToEmsc(1, "x", 1));
  EXPECT_TRUE(log.Contains(LOG_ERR, "Cannot open queue"));
  EXPECT_EQ(0, SendIppStatusMessageToEmsc(3));

  TestQueue emsc(VM_MQ_ID_EMSC);
  std::vector<char> huge(VM_MSG_PAYLOAD_SIZE + 1, 'h');
  EXPECT_EQ(0, SendMessageToEmsc(1, huge.data(), static_cast<unsigned int>(huge.size())));
  EXPECT_TRUE(log.Contains(LOG_ERR, "exceeds 12284 bytes"));
  EXPECT_TRUE(emsc.IsEmpty());
}

TEST(SendIppStatusMessageToEmsc, ArrivesOnQueue15AndRebuildsWithItsStatus) {
  TestQueue emsc(VM_MQ_ID_EMSC);
  EXPECT_EQ(0, SendIppStatusMessageToEmsc(7));
  message_extra_t got;
  const int length = emsc.Receive(got);
  ASSERT_EQ(12, length);
  const int32_t seven = 7;
  EXPECT_EQ(Expected(1, std::vector<uint8_t>(reinterpret_cast<const uint8_t*>(&seven),
                                              reinterpret_cast<const uint8_t*>(&seven) + 4)),
            Bytes(got, length));

  boost::shared_ptr<uDeviceManagementEvent> event =
      uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(got, length);
  auto* status = dynamic_cast<SendIppStatusEv*>(event.get());
  ASSERT_NE(nullptr, status);
  EXPECT_EQ(7, status->m_data.m_status.GetValue());
}

TEST(Agent, RelaysRebuiltEventsAndDropsUnbuildableOnes) {
  TestQueue emsc(VM_MQ_ID_EMSC);
  uDeviceManagementAgent* agent = uDeviceManagementAgent::Instance();
  EXPECT_EQ(agent, uDeviceManagementAgent::Instance());

  ProvisioningEv provisioning;
  provisioning.m_data.m_cfgUrl.SetValue(std::string("https://ems.example/cfg"));
  provisioning.m_data.m_forceUpdate.SetValue(true);
  message_extra_t message;
  const int length = uEventSerializer::SerializeEvent(provisioning, message);
  ASSERT_GT(length, 8);
  agent->handleMessage(message);
  message_extra_t relayed;
  ASSERT_EQ(length, emsc.Receive(relayed));
  EXPECT_EQ(0, memcmp(&message, &relayed, static_cast<size_t>(length)));

  LogCapture log;
  message_extra_t unbuildable;
  memset(&unbuildable, 0, sizeof unbuildable);
  unbuildable.family = 413;
  for (int32_t type : {2, 31, 35, 4, -1}) {
    unbuildable.eventType = type;
    agent->handleMessage(unbuildable);
    agent->handleMessage(unbuildable, 8);
  }
  unbuildable.eventType = 1;
  agent->handleMessage(unbuildable, 7);   // shorter than its header
  agent->handleMessage(unbuildable, 11);  // payload shorter than the record
  agent->handleMessage(unbuildable, 13);  // payload longer than the record
  EXPECT_TRUE(emsc.IsEmpty());
  int allocation_errors = 0;
  for (const CapturedLine& line : log.lines()) {
    allocation_errors += line.text == "Error - Could not allocate event";
  }
  EXPECT_EQ(10, allocation_errors);
  EXPECT_TRUE(log.Contains(LOG_ERR, "shorter than its header"));
  EXPECT_TRUE(log.Contains(LOG_ERR, "too short for SendIppStatusEv"));
  EXPECT_TRUE(log.Contains(LOG_ERR, "1 bytes too many for SendIppStatusEv"));

  agent->handleMessage(unbuildable, 12);
  EXPECT_EQ(12, emsc.Receive(relayed));
}

// The agent's own send path, without a factory in between.
TEST(Agent, HandleRequestSendsOrLogsASerializationFailure) {
  TestQueue emsc(VM_MQ_ID_EMSC);
  SendSyncConfigEv sync;
  uDeviceManagementAgent::Instance()->HandleRequest(sync);
  message_extra_t got;
  ASSERT_EQ(8, emsc.Receive(got));
  EXPECT_EQ(3, got.eventType);

  LocalConfigurationEv too_large;
  too_large.m_data.m_configPath.SetValue(std::string(VM_MSG_PAYLOAD_SIZE, 'p'));
  LogCapture log;
  uDeviceManagementAgent::Instance()->HandleRequest(too_large);
  EXPECT_TRUE(emsc.IsEmpty());
  ASSERT_FALSE(log.lines().empty());
  const CapturedLine& line = log.lines().back();
  EXPECT_EQ(15, line.module);
  EXPECT_EQ("uDeviceManagementAgent", line.unit);
  EXPECT_EQ("HandleRequest", line.function);
  EXPECT_EQ(32, line.line);
  EXPECT_EQ("Failed to serialize event", line.text);
  EXPECT_EQ(-1, uDeviceManagementAgent::Instance()->SendMessageToQueue(nullptr, 8));
}

}  // namespace
