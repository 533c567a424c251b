// Figures that Google Benchmark's own output does not carry (latencies
// measured across processes, one-off timings in fresh processes), written
// one JSON object per line to the file named by DM_BENCH_RESULTS so that
// scripts/bench_report.py can put them in the report. Without that variable
// only the console line is printed.
#ifndef DEVMGMT_BENCH_BENCHRESULTS_H_
#define DEVMGMT_BENCH_BENCHRESULTS_H_

#include <benchmark/benchmark.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/vmCfg.h"

namespace benchresults {

// A configuration database of the benchmark's own in a fresh folder, seeded
// before the baselines open the same file, with debug lines off as on a
// device in service. Only the process that made it removes it (benchmarks
// fork helpers).
class ScratchDatabase {
 public:
  ScratchDatabase() {
    char directory[] = "/tmp/devmgmt-bench-XXXXXX";
    if (mkdtemp(directory) == nullptr) return;
    m_directory = directory;
    m_path = m_directory + "/config.db";
    setenv("VM_CFG_DB", m_path.c_str(), 1);
    setenv("VM_LOG_LEVEL", "4", 0);
    char probe[8];
    vmCfgGetParam("device/name", probe, sizeof probe);
  }
  ~ScratchDatabase() {
    std::error_code ignored;
    if (!m_directory.empty() && getpid() == m_owner) std::filesystem::remove_all(m_directory, ignored);
  }
  ScratchDatabase(const ScratchDatabase&) = delete;
  ScratchDatabase& operator=(const ScratchDatabase&) = delete;

  bool ok() const { return !m_directory.empty(); }
  const std::string& path() const { return m_path; }

 private:
  pid_t m_owner = getpid();
  std::string m_directory;
  std::string m_path;
};

// Real time per iteration (ns) of every benchmark that ran, by name; with
// repetitions, the median stands for the benchmark.
inline std::map<std::string, double>& NanosPerCall() {
  static std::map<std::string, double> nanos;
  return nanos;
}

// The console table, and NanosPerCall filled as runs are reported (in ns
// whatever unit the table shows), so that a program can print its ratios
// after RunSpecifiedBenchmarks.
class MedianReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      const double iterations = static_cast<double>(run.iterations != 0 ? run.iterations : 1);
      NanosPerCall()[run.run_name.str()] = run.real_accumulated_time * 1e9 / iterations;
    }
  }
};

// Parses the benchmark flags and runs the registered benchmarks through a
// MedianReporter.
inline void RunBenchmarks(int* argc, char** argv) {
  benchmark::Initialize(argc, argv);
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
}

// A clock that processes share (steady_clock is system-wide), for latencies
// measured across processes.
inline int64_t NowNanos() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// A helper process for latencies measured across processes. It runs `setup`
// (which registers the callbacks that call Report), then sleeps until the
// object goes and kills it. Fork it before this process starts threads or
// change watches of its own: the child would share them.
class ReportingChild {
 public:
  // Returns once the child has run `setup`; ok() is false when it did not.
  explicit ReportingChild(const std::function<void()>& setup) {
    int reports[2];
    int ready[2];
    if (pipe(reports) != 0) return;
    if (pipe(ready) != 0) {
      close(reports[0]);
      close(reports[1]);
      return;
    }
    pid_ = fork();
    if (pid_ == 0) {
      close(reports[0]);
      close(ready[0]);
      ReportFd() = reports[1];
      setup();
      const char go = 1;
      if (write(ready[1], &go, 1) != 1) _exit(1);
      for (;;) pause();  // killed by the parent
    }
    close(reports[1]);
    close(ready[1]);
    read_fd_ = reports[0];
    char go = 0;
    const bool started = pid_ > 0 && read(ready[0], &go, 1) == 1;
    close(ready[0]);
    if (!started) Stop();
  }
  ~ReportingChild() { Stop(); }
  ReportingChild(const ReportingChild&) = delete;
  ReportingChild& operator=(const ReportingChild&) = delete;

  bool ok() const { return pid_ > 0; }

  // In the child, from a callback: sends one latency (ns) to the parent.
  static void Report(int64_t nanos) {
    if (write(ReportFd(), &nanos, sizeof nanos) != static_cast<ssize_t>(sizeof nanos)) _exit(1);
  }

  // In the parent: the next latency reported, in microseconds; -1 when none
  // comes within `timeout_ms`.
  double NextMicros(int timeout_ms) const {
    pollfd ready = {read_fd_, POLLIN, 0};
    int64_t nanos = 0;
    if (poll(&ready, 1, timeout_ms) != 1) return -1;
    if (read(read_fd_, &nanos, sizeof nanos) != static_cast<ssize_t>(sizeof nanos)) return -1;
    return static_cast<double>(nanos) / 1000.0;
  }

 private:
  static int& ReportFd() {
    static int fd = -1;
    return fd;
  }

  void Stop() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    pid_ = -1;
    if (read_fd_ >= 0) close(read_fd_);
    read_fd_ = -1;
  }

  pid_t pid_ = -1;
  int read_fd_ = -1;
};

// Median and 99th percentile of `micros` (sorted here), printed and, when
// DM_BENCH_RESULTS is set, appended as {"name", "unit", "median", "p99",
// "samples"}. `name` is a fixed identifier chosen by the benchmark.
inline void EmitSamples(const char* name, std::vector<double> micros) {
  if (micros.empty()) {
    std::printf("%s: no samples\n", name);
    return;
  }
  std::sort(micros.begin(), micros.end());
  const double median = micros[micros.size() / 2];
  const double p99 = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
  std::printf("%s: median %.0f us, p99 %.0f us (%zu samples)\n", name, median, p99, micros.size());
  const char* path = std::getenv("DM_BENCH_RESULTS");
  if (path == nullptr || *path == '\0') return;
  FILE* out = std::fopen(path, "a");
  if (out == nullptr) return;
  std::fprintf(out, "{\"name\":\"%s\",\"unit\":\"us\",\"median\":%.3f,\"p99\":%.3f,\"samples\":%zu}\n", name, median,
               p99, micros.size());
  std::fclose(out);
}

}  // namespace benchresults

#endif  // DEVMGMT_BENCH_BENCHRESULTS_H_
