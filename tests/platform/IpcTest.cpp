// POSIX message queues, events over them, and the chain of HTTP modules.
#include <gtest/gtest.h>
#include <limits.h>
#include <sched.h>

#include <boost/make_shared.hpp>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/SampleRecord.h"
#include "platform/uEventSerializer.h"
#include "platform/uHTTPHandler.h"
#include "platform/uIPCSender.h"
#include "support/LogCapture.h"
#include "support/TestQueue.h"

namespace {

class Sender : public uIPCSender {};

message_extra_t MessageOf(int32_t family, int32_t type, unsigned int payload) {
  message_extra_t message;
  memset(&message, 0, sizeof message);
  message.family = family;
  message.eventType = type;
  for (unsigned int i = 0; i < payload; ++i) message.data[i] = static_cast<uint8_t>(i * 7 + 1);
  return message;
}

TEST(IpcQueue, NameCarriesThePrefixAndRejectsUnsafeOnes) {
  setenv("VM_MQ_PREFIX", "", 1);
  EXPECT_EQ("/vm_mq_15", vmMqName(15));
  setenv("VM_MQ_PREFIX", std::string(NAME_MAX - 32, 'p').c_str(), 1);  // the longest that leaves room
  EXPECT_EQ("/" + std::string(NAME_MAX - 32, 'p') + "vm_mq_2147483647", vmMqName(2147483647));
  setenv("VM_MQ_PREFIX", "unit_", 1);
  EXPECT_EQ("/unit_vm_mq_0", vmMqName(0));
  LogCapture log;
  EXPECT_EQ("", vmMqName(-1));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uIPCSender", "FormatMqName", "Invalid queue id -1"));
  for (const std::string& prefix : {std::string("a/b"), std::string(NAME_MAX - 31, 'p')}) {
    setenv("VM_MQ_PREFIX", prefix.c_str(), 1);
    EXPECT_EQ("", vmMqName(15)) << prefix;
  }
  EXPECT_EQ(3u, log.lines().size());
}

TEST(IpcQueue, MessagesArriveWholeInOrderAndReceiveTimesOutQuietly) {
  TestQueue queue(21);
  ASSERT_TRUE(queue.receiver().IsOpen());
  EXPECT_EQ(std::min(12292L, uIPCReceiver::SystemMessageSizeMax()), queue.receiver().MessageSize());
  Sender sender;
  const message_extra_t first = MessageOf(413, 1, 4);
  const message_extra_t second = MessageOf(264, 3, 100);
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
  const message_extra_t message = MessageOf(413, 1, 0);
  LogCapture log;
  EXPECT_EQ(-1, sender.SendMessage(message, 8, 23));  // a missing queue
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uIPCSender", "Open", "Cannot open queue"));
  // Not a message: shorter than the header or longer than the record.
  EXPECT_EQ(-1, sender.SendMessage(message, 7, 22));
  EXPECT_EQ(-1, sender.SendMessage(message, sizeof message + 1, 22));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uIPCSender", "Post", "Message of 7 bytes for queue 22"));
  // A full queue: the sender returns at once and drops the message.
  int sent = 0;
  while (sender.SendMessage(message, 8, 22) == 0 && sent < 100) ++sent;
  EXPECT_EQ(10, sent);
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uIPCSender", "Post", "is full, message of 8 bytes dropped"));
  // Too large for the queue's message size (the usual 8192-byte limit).
  if (queue.receiver().MessageSize() < static_cast<long>(sizeof message)) {
    message_extra_t drained;
    ASSERT_EQ(8, queue.Receive(drained));
    const unsigned int length = static_cast<unsigned int>(queue.receiver().MessageSize()) + 1;
    EXPECT_EQ(-1, sender.SendMessage(message, length, 22));
    EXPECT_TRUE(log.Contains(LOG_ERR, "does not fit queue"));
  }
}

// The sender keeps queues open between messages; a receiver that restarts
// (unlinks and recreates its queue) must get the next message, never the
// orphaned queue, and a queue that is gone must fail the send.
TEST(IpcQueue, SenderFollowsARecreatedQueue) {
  UseProcessQueuePrefix();
  Sender sender;
  const message_extra_t message = MessageOf(413, 1, 4);
  message_extra_t got;
  {
    uIPCReceiver first(25);
    ASSERT_EQ(0, sender.SendMessage(message, 12, 25));
    ASSERT_EQ(12, first.Receive(got, 1000));
    ASSERT_TRUE(first.Unlink());
    uIPCReceiver second(25);
    ASSERT_EQ(0, sender.SendMessage(message, 12, 25));
    EXPECT_EQ(12, second.Receive(got, 1000)) << "the message went to the unlinked queue";
    EXPECT_EQ(-1, first.Receive(got, 0));
    ASSERT_TRUE(second.Unlink());
  }
  EXPECT_EQ(-1, sender.SendMessage(message, 12, 25));
  TestQueue third(25);
  EXPECT_EQ(0, sender.SendMessage(message, 12, 25));
  EXPECT_EQ(12, third.Receive(got));
}

// Linux caps a queue's message size at fs.mqueue.msgsize_max (8192) unless
// the process may raise it; in a private IPC namespace root can, so the
// full 12,292-byte message is tested there.
TEST(IpcQueue, FullSizeMessageInPrivateIpcNamespace) {
  if (unshare(CLONE_NEWIPC) != 0) GTEST_SKIP() << "cannot create an IPC namespace (needs root)";
  FILE* limit = fopen("/proc/sys/fs/mqueue/msgsize_max", "we");
  if (limit == nullptr) GTEST_SKIP() << "cannot raise fs.mqueue.msgsize_max here";
  const bool raised = fputs("16384", limit) >= 0;
  if (fclose(limit) != 0 || !raised) GTEST_SKIP() << "cannot raise fs.mqueue.msgsize_max here";
  TestQueue queue(15);
  ASSERT_EQ(12292, queue.receiver().MessageSize());
  Sender sender;
  const message_extra_t message = MessageOf(413, 30, VM_MSG_PAYLOAD_SIZE);
  ASSERT_EQ(0, sender.SendMessage(message, sizeof message, 15));
  message_extra_t got;
  ASSERT_EQ(12292, queue.Receive(got));
  EXPECT_EQ(0, memcmp(&message, &got, sizeof message));
}

class RecordEvent : public uServiceEvent {
 public:
  int getEventFamilyType() const override { return 77; }
  int getEventType() const override { return 5; }
  ISerializable* getEventData() override { return &record; }
  SampleRecord record;
};

class BytesEvent : public uServiceEvent {
 public:
  explicit BytesEvent(size_t size) : bytes(size, 'b') {}
  int getEventFamilyType() const override { return 78; }
  int getEventType() const override { return 2; }
  const void* GetDataBuffer() override { return bytes.data(); }
  unsigned int GetDataBufferSize() override { return static_cast<unsigned int>(bytes.size()); }
  std::string bytes;
};

TEST(EventSerializer, EventCrossesAQueueAndItsLengthIsChecked) {
  TestQueue queue(31);
  RecordEvent sent;
  sent.record.Fill();
  Sender sender;
  ASSERT_EQ(0, sender.SendEvent(sent, 31));
  message_extra_t message;
  const int length = queue.Receive(message);
  EXPECT_EQ(77, message.family);
  EXPECT_EQ(5, message.eventType);
  RecordEvent received;
  ASSERT_NE(0, uEventSerializer::DeSerializeEvent(received, message, length));
  EXPECT_TRUE(SameTree(sent.record, received.record));
  LogCapture log;
  for (int wrong : {length - 1, length + 1, 7}) {
    EXPECT_EQ(0, uEventSerializer::DeSerializeEvent(received, message, wrong)) << wrong;
  }
  int refusals = 0;
  for (const CapturedLine& line : log.lines()) refusals += line.unit == "uEventSerializer";
  EXPECT_EQ(3, refusals);
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uEventSerializer", "DeSerializeEvent", "too short"));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uEventSerializer", "DeSerializeEvent", "too many"));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uEventSerializer", "DeSerializeEvent", "not a message"));
}

TEST(EventSerializer, RawBuffersUpToThePayloadSizeAreSent) {
  message_extra_t message;
  BytesEvent fits(VM_MSG_PAYLOAD_SIZE);
  ASSERT_EQ(12292, uEventSerializer::SerializeEvent(fits, message));
  EXPECT_EQ(0, memcmp(fits.bytes.data(), message.data, VM_MSG_PAYLOAD_SIZE));
  LogCapture log;
  BytesEvent too_large(VM_MSG_PAYLOAD_SIZE + 1);
  EXPECT_EQ(-1, uEventSerializer::SerializeEvent(too_large, message));
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uEventSerializer", "SerializeEvent", "at most 12284 fit"));
}

// A chain of two modules: the first allocates the second, which answers.
class Front : public uHTTPModule {
 public:
  boost::shared_ptr<uHTTPModule> NextModuleAllocator() override;
  using uHTTPModule::HandleEvent;
  void HandleEvent(uHTTPSuccessResponseEv&) override { ++successes; }
  int successes = 0;
};
class Back : public uHTTPModule {};
boost::shared_ptr<uHTTPModule> Front::NextModuleAllocator() { return boost::make_shared<Back>(); }

TEST(HttpModule, ResponsesTravelBackAlongTheChain) {
  auto front = boost::make_shared<Front>();
  boost::shared_ptr<uHTTPModule> back = front->AllocateNextModule();
  ASSERT_TRUE(back);
  EXPECT_EQ(back, front->AllocateNextModule()) << "allocated once";
  EXPECT_EQ(front, back->GetPreviousModule());
  uHTTPDownloadSuccessResponseEv done;
  back->HandleBaseEv(done);  // a download success is a success response
  EXPECT_EQ(1, front->successes);
  uHTTPSuccessResponseEv last;
  EXPECT_TRUE(back->SendResponseToPreviousModule(last, true));
  EXPECT_EQ(2, front->successes);
  EXPECT_FALSE(front->GetNextModule()) << "released after the last response";
  LogCapture log;
  uHTTPRequestEv request;
  front->HandleBaseEv(request);
  ASSERT_EQ(2u, log.lines().size());
  EXPECT_EQ("uHTTPHandler handles uHTTPRequestEv: Unhandled event", log.lines()[1].text);
  front.reset();
  EXPECT_FALSE(back->SendResponseToPreviousModule(last, false)) << "front is gone";
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_WARNING, "uEvent", "SendResponseToPreviousModule",
                         "has no previous module"));
  Front on_stack;
  EXPECT_FALSE(on_stack.AllocateNextModule());
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uEvent", "AllocateNextModule", "not shared-owned"));
}

}  // namespace
