// Threads of one process sharing the library: several threads sending
// events while another receives them, and several threads reading system
// states while one writes them. Run under the tsan preset to check for data
// races; in every build they check that nothing is lost or torn.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "events/uDeviceManagementAgent.h"
#include "events/SingletonHolder.h"
#include "events/uDeviceManagementEventFactory.h"
#include "state/uSystemState.h"
#include "support/TempDatabase.h"
#include "support/TestQueue.h"

namespace {

TEST(Concurrency, EventsSentFromSeveralThreadsArriveWholeAndOnce) {
  TempDatabase db;
  TestQueue emsc(VM_MQ_ID_EMSC);
  // The sender singleton is made on first use without a lock, so a process
  // that sends from several threads makes it before they start.
  ASSERT_NE(nullptr, (SingletonHolder<uIPCSender, uIPCSender>::Instance()));
  constexpr int kThreads = 4, kPerThread = 40;
  std::atomic<int> sent{0}, received{0};
  std::set<int> statuses, expected;
  std::thread receiver([&] {
    message_extra_t message;
    // Nothing for a second ends it: a send was lost.
    for (int length; received < kThreads * kPerThread && (length = emsc.Receive(message)) >= 0; ++received) {
      auto event = uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(message, length);
      auto* status = dynamic_cast<SendIppStatusEv*>(event.get());
      statuses.insert(status != nullptr ? status->m_data.m_status.GetValue() : -1);
    }
  });
  std::vector<std::thread> senders;
  for (int t = 0; t < kThreads; ++t) {
    senders.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        // Keep fewer messages in flight than the queue holds (10).
        while (sent.load() - received.load() >= 6) std::this_thread::yield();
        sent.fetch_add(1);
        SendIppStatusMessageToEmsc(t * 1000 + i);
      }
    });
  }
  for (std::thread& sender : senders) sender.join();
  receiver.join();
  for (int n = 0; n < kThreads * kPerThread; ++n) expected.insert(n / kPerThread * 1000 + n % kPerThread);
  EXPECT_EQ(expected, statuses);  // each status once, none torn
}

TEST(Concurrency, StateReadersNeverSeeATornOrOlderRecord) {
  TempDatabase db;
  const char* path = GetStatusSystemStatePath(0);
  ASSERT_EQ(0, SetStatusSystemState(path, "0", "r", "0"));
  constexpr int kWrites = 60;
  std::atomic<bool> done{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> readers;
  for (int r = 0; r < 3; ++r) {
    readers.emplace_back([&] {
      int last = 0;
      while (!done.load()) {
        SystemState record;
        const bool read = GetStatusSystemState(path, record) == 0;
        const int value = std::atoi(record.m_status.GetString().c_str());
        if (!read || record.m_status.GetString() != record.m_info.GetString() || value < last) failures.fetch_add(1);
        last = read ? value : last;
      }
    });
  }
  for (int i = 1; i <= kWrites; ++i) {
    const std::string n = std::to_string(i);
    ASSERT_EQ(0, SetStatusSystemState(path, n.c_str(), "r", n.c_str()));
  }
  done.store(true);
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(std::to_string(kWrites), GetStatusSystemStateStatus(path));
}

}  // namespace
