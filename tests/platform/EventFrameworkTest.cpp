#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cstring>
#include <string>

#include "platform/uEventSerializer.h"
#include "platform/uHTTPHandler.h"
#include "platform/uIPCReceiver.h"
#include "platform/uIPCSender.h"
#include "platform/SampleRecord.h"
#include "support/LogCapture.h"
#include "support/TestQueue.h"

namespace {

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

class Sender : public uIPCSender {};

TEST(EventSerializer, EventCrossesAQueueAndRecordLengthIsChecked) {
  TestQueue queue(31);
  RecordEvent sent;
  sent.record.count.SetValue(-42);
  sent.record.text.SetValue(std::string("over the queue"));
  sent.record.flag.SetValue(true);
  Sender sender;
  ASSERT_EQ(0, sender.SendEvent(sent, 31));

  message_extra_t message;
  const int length = queue.Receive(message);
  ASSERT_GT(length, 8);
  EXPECT_EQ(77, message.family);
  EXPECT_EQ(5, message.eventType);
  RecordEvent received;
  ASSERT_NE(0, uEventSerializer::DeSerializeEvent(received, message, length));
  EXPECT_EQ(-42, received.record.count.GetValue());
  EXPECT_EQ("over the queue", received.record.text.GetString());
  EXPECT_TRUE(received.record.flag.GetValue());
  EXPECT_FALSE(received.record.note.IsSet());

  LogCapture log;
  RecordEvent shorter;
  EXPECT_EQ(0, uEventSerializer::DeSerializeEvent(shorter, message, length - 1));
  EXPECT_EQ(0, uEventSerializer::DeSerializeEvent(shorter, message, length + 1));
  EXPECT_EQ(0, uEventSerializer::DeSerializeEvent(shorter, message, 7));
  int refusals = 0;
  for (const CapturedLine& line : log.lines()) refusals += line.unit == "uEventSerializer";
  EXPECT_EQ(3, refusals);
}

TEST(EventSerializer, RawBuffersAreSentAndOversizePayloadsRefused) {
  message_extra_t message;
  BytesEvent fits(VM_MSG_PAYLOAD_SIZE);
  ASSERT_EQ(12292, uEventSerializer::SerializeEvent(fits, message));
  EXPECT_EQ('b', message.data[VM_MSG_PAYLOAD_SIZE - 1]);
  LogCapture log;
  BytesEvent too_large(VM_MSG_PAYLOAD_SIZE + 1);
  EXPECT_EQ(-1, uEventSerializer::SerializeEvent(too_large, message));
  EXPECT_TRUE(log.Contains(LOG_ERR, "at most 12284 fit"));
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
}

TEST(HttpModule, ModuleOnTheStackAllocatesNothing) {
  Front front;
  LogCapture log;
  EXPECT_FALSE(front.AllocateNextModule());
  EXPECT_TRUE(log.Contains(LOG_ERR, "not shared-owned"));
}

}  // namespace
