// Event throughput over a real POSIX queue: SendIppStatusEv sent, received
// and rebuilt by the factory, beside raw mq_send/mq_receive of the same bytes.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <mqueue.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "events/uDeviceManagementEventFactory.h"
#include "platform/uEventSerializer.h"
#include "platform/uIPCReceiver.h"
#include "platform/uIPCSender.h"

namespace {

constexpr vm_mq_id kQueue = 15;

class Sender : public uIPCSender {};

std::map<std::string, double>& Rates() {
  static std::map<std::string, double> rates;
  return rates;
}

void BM_IppStatusEventRoundTrip(benchmark::State& state) {
  uIPCReceiver receiver(kQueue);
  Sender sender;
  SendIppStatusEv event;
  event.m_data.m_status.SetValue(7);
  message_extra_t message;
  int64_t status_sum = 0;
  for (auto _ : state) {
    sender.SendEvent(event, kQueue);
    const int length = receiver.Receive(message, 1000);
    boost::shared_ptr<uDeviceManagementEvent> rebuilt =
        uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(
            message, static_cast<unsigned int>(length));
    status_sum += static_cast<SendIppStatusEv&>(*rebuilt).m_data.m_status.GetValue();
  }
  if (status_sum != 7 * state.iterations()) state.SkipWithError("an event was lost");
  receiver.Unlink();
  state.counters["events/s"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                  benchmark::Counter::kIsRate);
}

void BM_RawMqSendReceive(benchmark::State& state) {
  uIPCReceiver receiver(kQueue);  // creates the queue with the same attributes
  const std::string name = vmMqName(kQueue);
  const mqd_t out = mq_open(name.c_str(), O_WRONLY | O_NONBLOCK);
  const mqd_t in = mq_open(name.c_str(), O_RDONLY);
  SendIppStatusEv event;
  event.m_data.m_status.SetValue(7);
  message_extra_t bytes;
  const int length = uEventSerializer::SerializeEvent(event, bytes);
  static char buffer[sizeof(message_extra_t)];
  for (auto _ : state) {
    mq_send(out, reinterpret_cast<const char*>(&bytes), static_cast<size_t>(length), 0);
    benchmark::DoNotOptimize(mq_receive(in, buffer, sizeof buffer, nullptr));
  }
  mq_close(out);
  mq_close(in);
  receiver.Unlink();
  state.counters["events/s"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                  benchmark::Counter::kIsRate);
}

// The sender opens the queue for every message (so a restarted receiver's
// new queue is found); this baseline shows what that costs by itself.
void BM_RawMqOpenSendCloseReceive(benchmark::State& state) {
  uIPCReceiver receiver(kQueue);
  const std::string name = vmMqName(kQueue);
  const mqd_t in = mq_open(name.c_str(), O_RDONLY);
  SendIppStatusEv event;
  event.m_data.m_status.SetValue(7);
  message_extra_t bytes;
  const int length = uEventSerializer::SerializeEvent(event, bytes);
  static char buffer[sizeof(message_extra_t)];
  for (auto _ : state) {
    const mqd_t out = mq_open(name.c_str(), O_WRONLY | O_NONBLOCK);
    mq_send(out, reinterpret_cast<const char*>(&bytes), static_cast<size_t>(length), 0);
    mq_close(out);
    benchmark::DoNotOptimize(mq_receive(in, buffer, sizeof buffer, nullptr));
  }
  mq_close(in);
  receiver.Unlink();
  state.counters["events/s"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                  benchmark::Counter::kIsRate);
}

BENCHMARK(BM_IppStatusEventRoundTrip)->UseRealTime();
BENCHMARK(BM_RawMqSendReceive)->UseRealTime();
BENCHMARK(BM_RawMqOpenSendCloseReceive)->UseRealTime();

// Keeps each run's rate so the ratio can be printed after the table.
class RateReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      // With repetitions the median stands for the benchmark.
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      auto found = run.counters.find("events/s");
      if (found != run.counters.end()) Rates()[run.run_name.str()] = found->second.value;
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  const std::string prefix = "dmbench" + std::to_string(getpid()) + "_";
  setenv("VM_MQ_PREFIX", prefix.c_str(), 1);
  benchmark::Initialize(&argc, argv);
  RateReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  const double events = Rates()["BM_IppStatusEventRoundTrip/real_time"];
  const double raw = Rates()["BM_RawMqSendReceive/real_time"];
  const double reopen = Rates()["BM_RawMqOpenSendCloseReceive/real_time"];
  if (events > 0 && raw > 0) {
    printf("SendIppStatusEv send+receive+rebuild: %.0f events/s; raw mq_send+mq_receive: %.0f "
           "messages/s; ratio %.2f of raw\n",
           events, raw, events / raw);
  }
  if (events > 0 && reopen > 0) {
    printf("  against raw with the queue opened per message: %.0f messages/s; ratio %.2f\n",
           reopen, events / reopen);
  }
  return 0;
}
