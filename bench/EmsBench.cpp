// Building and writing a complete EMS status report (50 reported paths over a
// database of 10,000 parameters) beside its baseline: the same values read
// with raw SQLite statements (point reads and prefix range queries) and the
// same document written with RapidJSON's writer.
#include <benchmark/benchmark.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "ems/EMSMessageBuilderSfb.h"
#include "platform/uJson.h"
#include "platform/vmCfg.h"

#include "bench/BenchResults.h"
#include "bench/GroupedParams.h"

namespace {

using benchresults::NanosPerCall;

constexpr int kGroups = 100;
constexpr int kParamsPerGroup = 100;  // 10,000 parameters
constexpr int kPlainItems = 40;
constexpr int kWildcardItems = 10;  // 50 reported paths in all

std::string g_db_path;


// 40 plain paths and 10 items "bench/group/NNN/*/07" that each walk one
// group of 100 parameters and match one of them.
std::string ReportedPaths() {
  std::string list;
  for (int i = 0; i < kPlainItems; ++i) {
    list += "/" + benchresults::GroupedParamPath(i * 2, i % kParamsPerGroup) + ", ";
  }
  for (int i = 0; i < kWildcardItems; ++i) {
    char item[64];
    snprintf(item, sizeof item, "bench/group/%03d/*/07", 90 + i);
    list += item;
    if (i + 1 < kWildcardItems) list += ", ";
  }
  return list;
}

void Populate() {
  benchresults::SeedGroupedParams(g_db_path.c_str(), kGroups, kParamsPerGroup);
  vmCfgSetParam("ems/report/periodic_status_paths", ReportedPaths().c_str());
  vmCfgSetParam("network/override/mac", "00:11:22:aa:bb:cc");
  vmCfgSetParam("network/override/ip_address", "192.0.2.10");
  vmCfgSetParam("network/override/netmask", "255.255.255.0");
}

void BM_EmsStatusReport(benchmark::State& state) {
  InitEMSMessageBuilderBaseInstance();
  EMSMessageBuilder* builder = SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>::Instance();
  static char text[32768];
  size_t extra = 0;
  for (auto _ : state) {
    EmsIppStatusRequest request;
    builder->BuildStatusBaseMsg(&request);
    builder->BuildStatusMsg(&request);
    extra = request.m_additionalParams.GetChildCount();
    benchmark::DoNotOptimize(uJson::Serializer::Serialize(request, text, sizeof text));
  }
  state.counters["reported"] = static_cast<double>(extra);
}

// The paths behind the report's own fields, read one by one as the baseline.
const char* const kStatusPaths[] = {
    "ems/server/user_name", "ems/server/password", "network/override/mac", "network/override/ip_address",
    "network/override/netmask", "network/vlan/id", "device/model", "device/firmware_version",
    "sip/application_server", "sip/user_agent", "location/house_number", "location/street", "location/city",
    "location/state", "location/postal_code", "location/country", "status/sip/registered", "sip/user_name",
    "sip/user_id", "sip/phone_number", "sip/proxy", "ems/sync_id", "ems/unreceived_requests", "btoe/enabled",
    "status/btoe/paired", "device/is_conference_phone", "status/peripheral/usb_headset_type",
    "ems/report/periodic_status_paths"};

void BM_RawSqliteAndRapidJson(benchmark::State& state) {
  sqlite3* db = nullptr;
  sqlite3_open(g_db_path.c_str(), &db);
  sqlite3_busy_timeout(db, 5000);
  sqlite3_stmt* point = nullptr;
  sqlite3_stmt* range = nullptr;
  sqlite3_prepare_v2(db, "SELECT value FROM params WHERE path = ?1", -1, &point, nullptr);
  sqlite3_prepare_v2(db, "SELECT path, value FROM params WHERE path >= ?1 AND path < ?2 ORDER BY path", -1, &range,
                     nullptr);
  std::vector<std::string> plain;
  for (int i = 0; i < kPlainItems; ++i) plain.push_back(benchresults::GroupedParamPath(i * 2, i % kParamsPerGroup));
  std::vector<std::pair<std::string, std::string>> prefixes;
  for (int i = 0; i < kWildcardItems; ++i) {
    char prefix[64];
    snprintf(prefix, sizeof prefix, "bench/group/%03d/", 90 + i);
    prefixes.emplace_back(prefix, std::string(prefix) + "\xff");
  }
  const auto read = [&](const char* path, std::string& out) {
    sqlite3_bind_text(point, 1, path, -1, SQLITE_STATIC);
    const bool found = sqlite3_step(point) == SQLITE_ROW;
    if (found) out.assign(reinterpret_cast<const char*>(sqlite3_column_text(point, 0)));
    sqlite3_reset(point);
    return found;
  };
  size_t extra = 0;
  for (auto _ : state) {
    std::vector<std::string> fields(sizeof kStatusPaths / sizeof kStatusPaths[0]);
    for (size_t i = 0; i < fields.size(); ++i) read(kStatusPaths[i], fields[i]);
    std::vector<std::pair<std::string, std::string>> params;
    std::string value;
    for (const std::string& path : plain) {
      if (read(path.c_str(), value)) params.emplace_back(path, value);
    }
    for (const auto& prefix : prefixes) {
      sqlite3_bind_text(range, 1, prefix.first.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(range, 2, prefix.second.c_str(), -1, SQLITE_STATIC);
      while (sqlite3_step(range) == SQLITE_ROW) {
        const std::string path = reinterpret_cast<const char*>(sqlite3_column_text(range, 0));
        if (path.find("/07", prefix.first.size()) != std::string::npos) {
          params.emplace_back(path, reinterpret_cast<const char*>(sqlite3_column_text(range, 1)));
        }
      }
      sqlite3_reset(range);
    }
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartObject();
    for (size_t i = 0; i < 25; ++i) {  // the 25 string fields of the report
      writer.Key("field");
      writer.String(fields[i % fields.size()].c_str());
    }
    writer.Key("additionalParams");
    writer.StartObject();
    for (const auto& pair : params) {
      writer.Key(pair.first.c_str());
      writer.String(pair.second.c_str());
    }
    writer.EndObject();
    writer.EndObject();
    extra = params.size();
    benchmark::DoNotOptimize(buffer.GetString());
  }
  state.counters["reported"] = static_cast<double>(extra);
  sqlite3_finalize(point);
  sqlite3_finalize(range);
  sqlite3_close(db);
}

BENCHMARK(BM_EmsStatusReport);
BENCHMARK(BM_RawSqliteAndRapidJson);

}  // namespace

int main(int argc, char** argv) {
  benchresults::ScratchDatabase database;
  if (!database.ok()) return 1;
  g_db_path = database.path();
  Populate();

  benchresults::RunBenchmarks(&argc, argv);
  const double ours = NanosPerCall()["BM_EmsStatusReport"];
  const double raw = NanosPerCall()["BM_RawSqliteAndRapidJson"];
  if (ours > 0 && raw > 0) {
    std::printf("status report (50 paths, 10,000 parameters): %.0f us, raw SQLite + RapidJSON: %.0f us, ratio %.2f\n",
                ours / 1000, raw / 1000, ours / raw);
  }
  return 0;
}
