// Configuration database cost per call, beside raw SQLite on the same file
// with the same settings, and the latency from a write in one process to the
// change callback in another.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "bench/BenchResults.h"
#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"

namespace {

using benchresults::NanosPerCall;
using benchresults::NowNanos;

std::string g_db_path;

// The baseline: one connection with the store's own settings.
sqlite3* OpenRaw() {
  sqlite3* db = nullptr;
  sqlite3_open(g_db_path.c_str(), &db);
  sqlite3_busy_timeout(db, 5000);
  sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;", nullptr, nullptr, nullptr);
  return db;
}

void BM_ConfigSet(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    const std::string value = std::to_string(i++ % 1000);
    benchmark::DoNotOptimize(vmCfgSetParam("bench/key", value.c_str()));
  }
}

void BM_RawSqliteUpsert(benchmark::State& state) {
  sqlite3* db = OpenRaw();
  sqlite3_stmt* stmt = nullptr;
  sqlite3_prepare_v2(db,
                     "INSERT INTO params(path, value) VALUES('bench/raw', ?1) "
                     "ON CONFLICT(path) DO UPDATE SET value = excluded.value",
                     -1, &stmt, nullptr);
  int i = 0;
  for (auto _ : state) {
    const std::string value = std::to_string(i++ % 1000);
    sqlite3_bind_text(stmt, 1, value.c_str(), -1, SQLITE_TRANSIENT);
    benchmark::DoNotOptimize(sqlite3_step(stmt));
    sqlite3_reset(stmt);
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
}

void BM_ConfigGet(benchmark::State& state) {
  vmCfgSetParam("bench/key", "a value of ordinary length");
  char value[256];
  for (auto _ : state) benchmark::DoNotOptimize(vmCfgGetParam("bench/key", value, sizeof value));
}

void BM_RawSqliteSelect(benchmark::State& state) {
  sqlite3* db = OpenRaw();
  sqlite3_exec(db, "INSERT OR REPLACE INTO params VALUES('bench/raw', 'a value of ordinary length')", nullptr,
               nullptr, nullptr);
  sqlite3_stmt* stmt = nullptr;
  sqlite3_prepare_v2(db, "SELECT value FROM params WHERE path = ?1", -1, &stmt, nullptr);
  char value[256];
  for (auto _ : state) {
    sqlite3_bind_text(stmt, 1, "bench/raw", -1, SQLITE_STATIC);
    if (sqlite3_step(stmt) == SQLITE_ROW) {
      std::snprintf(value, sizeof value, "%s", reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
    }
    benchmark::DoNotOptimize(value);
    sqlite3_reset(stmt);
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
}

BENCHMARK(BM_ConfigSet);
BENCHMARK(BM_RawSqliteUpsert);
BENCHMARK(BM_ConfigGet);
BENCHMARK(BM_RawSqliteSelect);

// In the listening process: the value written is the writer's clock.
int ReportLatency(char** paths, int count) {
  char value[32];
  for (int i = 0; i < count; ++i) {
    if (vmCfgGetParam(paths[i], value, sizeof value) != VM_CFG_OK) continue;
    benchresults::ReportingChild::Report(NowNanos() - std::atoll(value));
  }
  return 0;
}

void MeasureCrossProcessLatency(int samples) {
  const benchresults::ReportingChild listener([] {
    ConfigManager* manager = ConfigManager::Instance();
    manager->registerMultiConfigPathsChangeCallback({"bench/latency"}, ReportLatency);
    manager->startDeliveryThread();
  });
  if (!listener.ok()) return;
  std::vector<double> micros;
  for (int i = 0; i < samples; ++i) {
    vmCfgSetParam("bench/latency", std::to_string(NowNanos()).c_str());
    const double latency = listener.NextMicros(5000);
    if (latency < 0) break;
    micros.push_back(latency);
    usleep(2000);
  }
  benchresults::EmitSamples("config_write_to_callback", micros);
}

}  // namespace

int main(int argc, char** argv) {
  benchresults::ScratchDatabase database;
  if (!database.ok()) return 1;
  g_db_path = database.path();

  benchresults::RunBenchmarks(&argc, argv);
  const auto ratio = [](const char* ours, const char* raw) {
    const double a = NanosPerCall()[ours];
    const double b = NanosPerCall()[raw];
    if (a > 0 && b > 0) std::printf("%s: %.0f ns, %s: %.0f ns, ratio %.2f (target <= 1.2)\n", ours, a, raw, b, a / b);
  };
  ratio("BM_ConfigSet", "BM_RawSqliteUpsert");
  ratio("BM_ConfigGet", "BM_RawSqliteSelect");
  MeasureCrossProcessLatency(300);
  return 0;
}
