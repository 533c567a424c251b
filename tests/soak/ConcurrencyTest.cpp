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
  constexpr int kThreads = 4;
  constexpr int kPerThread = 40;
  std::atomic<int> sent{0};
  std::atomic<int> received{0};
  std::set<int> statuses;
  int unbuildable = 0;
  std::thread receiver([&] {
    while (received.load() < kThreads * kPerThread) {
      message_extra_t message;
      const int length = emsc.Receive(message);
      if (length < 0) break;  // nothing for a second: a send was lost
      auto event = uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(message, length);
      auto* status = dynamic_cast<SendIppStatusEv*>(event.get());
      if (status == nullptr) {
        ++unbuildable;
      } else {
        statuses.insert(status->m_data.m_status.GetValue());
      }
      received.fetch_add(1);
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
  EXPECT_EQ(0, unbuildable);
  EXPECT_EQ(static_cast<size_t>(kThreads * kPerThread), statuses.size());
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(1u, statuses.count(t * 1000)) << t;
    EXPECT_EQ(1u, statuses.count(t * 1000 + kPerThread - 1)) << t;
  }
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
        if (GetStatusSystemState(path, record) != 0) {
          failures.fetch_add(1);
          continue;
        }
        const std::string status = record.m_status.GetString();
        const int value = std::atoi(status.c_str());
        if (status != record.m_info.GetString() || value < last) failures.fetch_add(1);
        last = value;
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
