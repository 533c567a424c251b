#include <gtest/gtest.h>
#include <sched.h>

#include <boost/make_shared.hpp>
#include <cstdio>
#include <cstring>

#include "platform/uIPCReceiver.h"
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
  setenv("VM_MQ_PREFIX", "unit_", 1);
  EXPECT_EQ("/unit_vm_mq_0", vmMqName(0));
  LogCapture log;
  EXPECT_EQ("", vmMqName(-1));
  setenv("VM_MQ_PREFIX", "a/b", 1);
  EXPECT_EQ("", vmMqName(15));
  setenv("VM_MQ_PREFIX", std::string(300, 'p').c_str(), 1);
  EXPECT_EQ("", vmMqName(15));
  EXPECT_EQ(3u, log.lines().size());
}

TEST(IpcQueue, MessagesArriveWholeAndInOrder) {
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
  EXPECT_TRUE(queue.IsEmpty());
}

TEST(IpcQueue, SendingFailsWithoutBlockingOrCrashing) {
  TestQueue queue(22);
  Sender sender;
  const message_extra_t message = MessageOf(413, 1, 0);
  LogCapture log;
  // Missing queue.
  EXPECT_EQ(-1, sender.SendMessage(message, 8, 23));
  EXPECT_TRUE(log.Contains(LOG_ERR, "Cannot open queue"));
  // Not a message: shorter than the header or longer than the record.
  EXPECT_EQ(-1, sender.SendMessage(message, 7, 22));
  EXPECT_EQ(-1, sender.SendMessage(message, sizeof message + 1, 22));
  // Full queue: the sender returns at once and drops the message.
  int sent = 0;
  while (sender.SendMessage(message, 8, 22) == 0 && sent < 100) ++sent;
  EXPECT_EQ(queue.receiver().MessageSize() > 0 ? 10 : 0, sent);
  EXPECT_TRUE(log.Contains(LOG_ERR, "is full, message of 8 bytes dropped"));
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
    ASSERT_TRUE(first.IsOpen());
    ASSERT_EQ(0, sender.SendMessage(message, 12, 25));
    ASSERT_EQ(12, first.Receive(got, 1000));
    ASSERT_TRUE(first.Unlink());
    uIPCReceiver second(25);
    ASSERT_TRUE(second.IsOpen());
    ASSERT_EQ(0, sender.SendMessage(message, 12, 25));
    EXPECT_EQ(12, second.Receive(got, 1000)) << "the message went to the unlinked queue";
    EXPECT_EQ(-1, first.Receive(got, 0));
    ASSERT_TRUE(second.Unlink());
  }
  LogCapture log;
  EXPECT_EQ(-1, sender.SendMessage(message, 12, 25));
  EXPECT_TRUE(log.Contains(LOG_ERR, "Cannot open queue"));
  TestQueue third(25);
  EXPECT_EQ(0, sender.SendMessage(message, 12, 25));
  EXPECT_EQ(12, third.Receive(got));
}

TEST(IpcQueue, ReceiveTimesOutQuietly) {
  TestQueue queue(24);
  LogCapture log;
  message_extra_t message;
  EXPECT_EQ(-1, queue.receiver().Receive(message, 20));
  EXPECT_EQ(-1, queue.receiver().Receive(message, 0));
  EXPECT_TRUE(log.lines().empty());
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
  ASSERT_EQ(16384, uIPCReceiver::SystemMessageSizeMax());

  TestQueue queue(15);
  ASSERT_EQ(12292, queue.receiver().MessageSize());
  Sender sender;
  const message_extra_t message = MessageOf(413, 30, VM_MSG_PAYLOAD_SIZE);
  ASSERT_EQ(0, sender.SendMessage(message, sizeof message, 15));
  message_extra_t got;
  ASSERT_EQ(12292, queue.Receive(got));
  EXPECT_EQ(0, memcmp(&message, &got, sizeof message));
}

}  // namespace
