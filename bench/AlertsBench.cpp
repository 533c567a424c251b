// Cost of raising an alarm (its twelve writes and the change pass that
// follows) beside twelve raw SQLite upserts on the same file, and the time
// from a raise in one process to its card written by another.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "alerts/AlertUINotifier.h"
#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"

namespace {

std::string g_db_path;

std::map<std::string, double>& NanosPerCall() {
  static std::map<std::string, double> nanos;
  return nanos;
}

// One raise (severity alternating, so every pass has a changed field to
// report) and the delivery of its changes to this process's tables.
void BM_AlertManagerSetAlert(benchmark::State& state) {
  ConfigManager* changes = ConfigManager::Instance();
  int i = 0;
  for (auto _ : state) {
    const int rc = AlertManager_SetAlert("BenchLink", "bench", 2 + (i++ & 1), "Link [AI1] down", "eth0", nullptr,
                                         "network", 0, 0, 0);
    if (rc != 0) state.SkipWithError("AlertManager_SetAlert failed");
    changes->dispatchPending();
  }
}

// The baseline: the same twelve parameters written by raw SQLite, one
// auto-committed upsert each, on the same file with the store's settings.
void BM_RawSqlite12Upserts(benchmark::State& state) {
  sqlite3* db = nullptr;
  sqlite3_open(g_db_path.c_str(), &db);
  sqlite3_busy_timeout(db, 5000);
  sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;", nullptr, nullptr, nullptr);
  sqlite3_stmt* stmt = nullptr;
  sqlite3_prepare_v2(db,
                     "INSERT INTO params(path, value) VALUES(?1, ?2) "
                     "ON CONFLICT(path) DO UPDATE SET value = excluded.value",
                     -1, &stmt, nullptr);
  static const char* const kKeys[] = {"name",        "severity", "time",          "additionalInfo1",
                                      "additionalInfo2", "category", "description", "type",
                                      "probable_cause",  "confirmation_received", "ui_notification",
                                      "source_component"};
  std::vector<std::string> paths;
  for (const char* key : kKeys) paths.push_back(std::string("bench/raw/alarm/0/") + key);
  int i = 0;
  for (auto _ : state) {
    const std::string value = std::to_string(2 + (i++ & 1));
    for (const std::string& path : paths) {
      sqlite3_bind_text(stmt, 1, path.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(stmt, 2, value.c_str(), -1, SQLITE_TRANSIENT);
      benchmark::DoNotOptimize(sqlite3_step(stmt));
      sqlite3_reset(stmt);
    }
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
}

BENCHMARK(BM_AlertManagerSetAlert);
BENCHMARK(BM_RawSqlite12Upserts);

class TimeReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) NanosPerCall()[run.benchmark_name()] = run.GetAdjustedRealTime();
  }
};

int64_t NowNanos() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

int g_report_fd = -1;

// In the card process, called when "command/card" changes: the card's text
// is the raiser's clock at the raise (steady_clock is system-wide).
int ReportCardLatency(char** /*paths*/, int /*count*/) {
  char card[2048];
  if (vmCfgGetParam("command/card", card, sizeof card) != VM_CFG_OK) return 0;
  const char* text = std::strstr(card, "\"text\":\"");
  if (text == nullptr) return 0;
  const int64_t latency = NowNanos() - std::atoll(text + 8);
  if (write(g_report_fd, &latency, sizeof latency) < 0) _exit(1);
  return 0;
}

// Raises an alarm whose card text is the current clock and waits for the
// card process to report its card. Microseconds, or -1.
double RaiseAndAwaitCard(int fd) {
  const std::string now = std::to_string(NowNanos());
  if (AlertManager_SetAlert("BenchCard", "bench", 2, "[AI1]", now.c_str(), nullptr, nullptr, 0, 0, 2) != 0) return -1;
  pollfd ready = {fd, POLLIN, 0};
  int64_t latency = 0;
  if (poll(&ready, 1, 5000) != 1 || read(fd, &latency, sizeof latency) != static_cast<ssize_t>(sizeof latency)) {
    return -1;
  }
  return static_cast<double>(latency) / 1000.0;
}

void MeasureRaiseToCard(int samples) {
  int fds[2];
  int ready[2];
  if (pipe(fds) != 0 || pipe(ready) != 0) return;
  const pid_t shower = fork();
  if (shower == 0) {
    close(fds[0]);
    close(ready[0]);
    g_report_fd = fds[1];
    AlertUINotifier::GetInstance()->Init();
    ConfigManager::Instance()->registerMultiConfigPathsChangeCallback({"command/card"}, ReportCardLatency);
    ConfigManager::Instance()->startDeliveryThread();
    const char go = 1;
    if (write(ready[1], &go, 1) != 1) _exit(1);
    pause();  // killed by the parent
    _exit(0);
  }
  close(fds[1]);
  close(ready[1]);
  char go = 0;
  if (read(ready[0], &go, 1) != 1) return;
  RaiseAndAwaitCard(fds[0]);  // builds this process's tables first
  std::vector<double> micros;
  for (int i = 0; i < samples; ++i) {
    const double latency = RaiseAndAwaitCard(fds[0]);
    if (latency < 0) {
      std::printf("raise -> card: sample %d lost\n", i);
      break;
    }
    micros.push_back(latency);
    usleep(2000);
  }
  kill(shower, SIGKILL);
  waitpid(shower, nullptr, 0);
  if (micros.empty()) return;
  std::sort(micros.begin(), micros.end());
  const double median = micros[micros.size() / 2];
  const double p99 = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
  std::printf("raise -> card written in another process: median %.0f us, p99 %.0f us (%zu samples)\n", median, p99,
              micros.size());
}

}  // namespace

int main(int argc, char** argv) {
  char directory[] = "/tmp/devmgmt-bench-XXXXXX";
  if (mkdtemp(directory) == nullptr) return 1;
  g_db_path = std::string(directory) + "/config.db";
  setenv("VM_CFG_DB", g_db_path.c_str(), 1);
  char probe[8];
  vmCfgGetParam("device/name", probe, sizeof probe);  // creates the database before the baseline uses it

  // First, while this process has no change watch yet: a forked child
  // would share it and the two would take each other's wake-ups.
  MeasureRaiseToCard(200);
  benchmark::Initialize(&argc, argv);
  TimeReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  const double ours = NanosPerCall()["BM_AlertManagerSetAlert"];
  const double raw = NanosPerCall()["BM_RawSqlite12Upserts"];
  if (ours > 0 && raw > 0) {
    std::printf("AlertManager_SetAlert + change pass: %.0f ns, 12 raw SQLite upserts: %.0f ns, ratio %.2f\n", ours,
                raw, ours / raw);
  }
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
  return 0;
}
