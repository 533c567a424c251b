// POSIX message queues and events over them.
#include <gtest/gtest.h>
#include <limits.h>
#include <sched.h>

#include <cstdio>

#include "platform/SampleRecord.h"
#include "platform/uEventSerializer.h"
#include "platform/uIPCSender.h"
#include "support/LogCapture.h"
#include "support/TestQueue.h"

namespace {

class Sender : public uIPCSender {};

message_extra_t MessageOf(unsigned int payload) {
  message_extra_t message;
  memset(&message, 0, sizeof message);
  message.family = 413;
  message.eventType = 30;
  for (unsigned int i = 0; i < payload; ++i) message.data[i] = static_cast<uint8_t>(i * 7 + 1);
  return message;
}

bool LoggedBySender(const LogCapture& log, const char* function, const char* text) {
  return log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uIPCSender", function, text);
}

TEST(IpcQueue, NameCarriesThePrefixAndRejectsUnsafeOnes) {
  const std::string longest(NAME_MAX - 32, 'p');  // leaves room for the rest of the name
  setenv("VM_MQ_PREFIX", longest.c_str(), 1);
  EXPECT_EQ("/" + longest + "vm_mq_2147483647", vmMqName(2147483647));
  setenv("VM_MQ_PREFIX", "", 1);
  EXPECT_EQ("/vm_mq_0", vmMqName(0));
  LogCapture log;
  EXPECT_EQ("", vmMqName(-1));
  EXPECT_TRUE(LoggedBySender(log, "FormatMqName", "Invalid queue id -1"));
  for (const std::string& prefix : {longest + "p", std::string("a/b")}) {
    setenv("VM_MQ_PREFIX", prefix.c_str(), 1);
    EXPECT_EQ("", vmMqName(15)) << prefix;
  }
}

TEST(IpcQueue, MessagesArriveWholeInOrderAndReceiveTimesOutQuietly) {
  TestQueue queue(21);
  EXPECT_EQ(std::min(12292L, uIPCReceiver::SystemMessageSizeMax()), queue.receiver().MessageSize());
  Sender sender;
  const message_extra_t first = MessageOf(4);
  const message_extra_t second = MessageOf(100);
  ASSERT_EQ(0, sender.SendMessage(first, 12, 21));
  ASSERT_EQ(0, sender.SendMessage(static_cast<const message_t&>(second), 108, 21));
  message_extra_t got;
  ASSERT_EQ(12, queue.Receive(got));
  EXPECT_EQ(0, memcmp(&first, &got, 12));
  EXPECT_EQ(0, got.data[4]) << "bytes past the message are zeroed";
  ASSERT_EQ(108, queue.Receive(got));
  EXPECT_EQ(0, memcmp(&second, &got, 108));
  LogCapture log;
  EXPECT_EQ(-1, queue.receiver().Receive(got, 20));
  EXPECT_EQ(-1, queue.receiver().Receive(got, 0));
  EXPECT_TRUE(log.lines().empty());
}

TEST(IpcQueue, SendingFailsWithoutBlockingOrCrashing) {
  TestQueue queue(22);
  Sender sender;
  const message_extra_t message = MessageOf(0);
  LogCapture log;
  EXPECT_EQ(-1, sender.SendMessage(message, 8, 23));  // a missing queue
  EXPECT_TRUE(LoggedBySender(log, "Open", "Cannot open queue"));
  EXPECT_EQ(-1, sender.SendMessage(message, 7, 22));  // shorter than the header or longer than the record
  EXPECT_EQ(-1, sender.SendMessage(message, sizeof message + 1, 22));
  EXPECT_TRUE(LoggedBySender(log, "Post", "Message of 7 bytes for queue 22 is not a message"));
  int sent = 0;  // a full queue: the sender returns at once and drops the message
  while (sender.SendMessage(message, 8, 22) == 0 && sent < 100) ++sent;
  EXPECT_EQ(10, sent);
  EXPECT_TRUE(LoggedBySender(log, "Post", "is full, message of 8 bytes dropped"));
  if (queue.receiver().MessageSize() < static_cast<long>(sizeof message)) {  // the usual 8192-byte limit
    message_extra_t drained;
    ASSERT_EQ(8, queue.Receive(drained));
    EXPECT_EQ(-1, sender.SendMessage(message, static_cast<unsigned>(queue.receiver().MessageSize()) + 1, 22));
    EXPECT_TRUE(LoggedBySender(log, "Post", "does not fit queue"));
  }
}

// The sender keeps queues open between messages; a receiver that restarts
// (unlinks and recreates its queue) must get the next message, and the
// orphaned queue is never fed.
TEST(IpcQueue, SenderFollowsARecreatedQueue) {
  UseProcessQueuePrefix();
  Sender sender;
  const message_extra_t message = MessageOf(4);
  uIPCReceiver first(25);
  ASSERT_EQ(0, sender.SendMessage(message, 12, 25));
  ASSERT_TRUE(first.Unlink());
  EXPECT_EQ(-1, sender.SendMessage(message, 12, 25)) << "the orphaned queue was fed";
  TestQueue second(25);
  ASSERT_EQ(0, sender.SendMessage(message, 12, 25));
  message_extra_t got;
  EXPECT_EQ(12, second.Receive(got));
}

// Linux caps a queue's message size at fs.mqueue.msgsize_max (8192) unless
// root raises it, which a private IPC namespace allows: the full message.
TEST(IpcQueue, FullSizeMessageInPrivateIpcNamespace) {
  FILE* limit = unshare(CLONE_NEWIPC) == 0 ? fopen("/proc/sys/fs/mqueue/msgsize_max", "we") : nullptr;
  if (limit == nullptr || fputs("16384", limit) < 0 || fclose(limit) != 0) GTEST_SKIP() << "needs root";
  TestQueue queue(15);
  const message_extra_t message = MessageOf(VM_MSG_PAYLOAD_SIZE);
  ASSERT_EQ(0, Sender().SendMessage(message, sizeof message, 15));
  message_extra_t got;
  ASSERT_EQ(12292, queue.Receive(got));
  EXPECT_EQ(0, memcmp(&message, &got, sizeof message));
}

struct RecordEvent : uServiceEvent {
  int getEventFamilyType() const override { return 77; }
  int getEventType() const override { return 5; }
  ISerializable* getEventData() override { return &record; }
  SampleRecord record;
};

struct BytesEvent : uServiceEvent {
  explicit BytesEvent(size_t size) : bytes(size, 'b') {}
  int getEventFamilyType() const override { return 78; }
  int getEventType() const override { return 2; }
  const void* GetDataBuffer() override { return bytes.data(); }
  unsigned int GetDataBufferSize() override { return static_cast<unsigned int>(bytes.size()); }
  std::string bytes;
};

TEST(EventSerializer, EventsCrossAQueueAndTheirLengthIsChecked) {
  TestQueue queue(31);
  RecordEvent sent;
  sent.record.Fill();
  ASSERT_EQ(0, Sender().SendEvent(sent, 31));
  message_extra_t message;
  const int length = queue.Receive(message);
  EXPECT_TRUE(message.family == 77 && message.eventType == 5);
  RecordEvent received;
  ASSERT_EQ(1, uEventSerializer::DeSerializeEvent(received, message, length));
  EXPECT_EQ(ToBinary(sent.record), ToBinary(received.record));
  RecordEvent whole;  // a message whose length is not known: the whole record size
  ASSERT_EQ(1, uEventSerializer::DeSerializeEvent(whole, message));
  EXPECT_EQ(ToBinary(sent.record), ToBinary(whole.record));
  LogCapture log;
  for (int wrong : {length - 1, length + 1, 7}) EXPECT_EQ(0, uEventSerializer::DeSerializeEvent(received, message, wrong));
  for (const char* text : {"too short", "too many", "not a message"}) {
    EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uEventSerializer", "DeSerializeEvent", text));
  }
  BytesEvent fits(VM_MSG_PAYLOAD_SIZE);
  ASSERT_EQ(12292, uEventSerializer::SerializeEvent(fits, message));
  BytesEvent too_large(VM_MSG_PAYLOAD_SIZE + 1);
  EXPECT_EQ(-1, uEventSerializer::SerializeEvent(too_large, message));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uEventSerializer", "SerializeEvent", "at most 12284 fit"));
}

}  // namespace
