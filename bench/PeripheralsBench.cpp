// Peripheral rewrites per second with 200 configured filters (text read from
// the configuration on every rewrite, parsed again only when it changed) and with 200 default filters
// (parsed once), beside the cost of parsing the same document with raw
// RapidJSON into a DOM.
//
// Log lines below error level are switched off (VM_LOG_LEVEL=3) so that the
// figures measure the rewrite, not syslog.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "peripherals/PeripheralDeviceRewriter.h"
#include "platform/vmCfg.h"

#include "bench/BenchResults.h"

namespace {

using benchresults::NanosPerCall;

constexpr int kFilters = 200;
std::string g_document;

// A realistic mix: exact names, partial names, types, ids and choice lists.
std::string MakeDocument() {
  std::string doc = "{\"name\":\"bench\",\"filters\":[";
  for (int i = 0; i < kFilters; ++i) {
    const std::string n = std::to_string(i);
    std::string in;
    switch (i % 4) {
      case 0: in = "\"name\":\"VELMORA MODEL " + n + "\""; break;
      case 1: in = "\"partial_name\":\"series " + n + "\""; break;
      case 2: in = "\"vid\":13360,\"pid\":" + n; break;
      default: in = "\"type\":\"kind " + n + "\""; break;
    }
    if (i) doc += ",";
    doc += "{\"in\":{" + in + "},\"out\":{\"name\":\"Velmora Model " + n +
           "\",\"display_name\":\"Model " + n + "\",\"type\":\"DP400=HEADSET;ELSE=SPEAKER\",\"hw_type\":\"USB\"}}";
  }
  return doc + "]}";
}

// The device matches the last exact-name filter; every filter is scored.
void RewriteLoop(benchmark::State& state) {
  PeripheralInfo in;
  in.m_name.SetValue(std::string("Velmora Model 196"));
  in.m_vid.SetValue(13360);
  in.m_pid.SetValue(9999);
  PeripheralInfo out;
  PeripheralDeviceRewriter* rewriter = PeripheralDeviceRewriter::Instance();
  for (auto _ : state) {
    if (!rewriter->RewritePeripheralInfo(in, out)) state.SkipWithError("no filter matched");
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_RewriteConfigured200(benchmark::State& state) {
  vmCfgSetParam("peripheral/filters", g_document.c_str());
  RewriteLoop(state);
}

void BM_RewriteDefault200(benchmark::State& state) {
  vmCfgSetParam("peripheral/filters", "");
  RewriteLoop(state);
}

void BM_RawRapidJsonParse200(benchmark::State& state) {
  for (auto _ : state) {
    rapidjson::Document dom;
    dom.Parse(g_document.c_str(), g_document.size());
    benchmark::DoNotOptimize(dom.HasParseError());
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_RewriteConfigured200);
BENCHMARK(BM_RewriteDefault200);
BENCHMARK(BM_RawRapidJsonParse200);

}  // namespace

int main(int argc, char** argv) {
  setenv("VM_LOG_LEVEL", "3", 1);
  char directory[] = "/tmp/devmgmt-bench-XXXXXX";
  if (mkdtemp(directory) == nullptr) return 1;
  setenv("VM_CFG_DB", (std::string(directory) + "/config.db").c_str(), 1);
  vmCfgSetParam("system/type", "DP400");
  g_document = MakeDocument();
  const std::string defaults = std::string(directory) + "/default_filters.json";
  std::ofstream(defaults) << g_document;
  setenv(PeripheralDeviceRewriter::DEFAULT_FILTERS_ENV, defaults.c_str(), 1);
  if (PeripheralDeviceRewriter::Instance()->m_filters.size() != kFilters) return 1;

  benchresults::RunBenchmarks(&argc, argv);
  const double raw = NanosPerCall()["BM_RawRapidJsonParse200"];
  for (const char* ours : {"BM_RewriteConfigured200", "BM_RewriteDefault200"}) {
    const double ns = NanosPerCall()[ours];
    if (ns > 0 && raw > 0) {
      std::printf("%s: %.0f rewrites/s (%.0f ns); raw RapidJSON parse of the same %zu-byte document: %.0f ns; "
                  "ratio %.2f\n",
                  ours, 1e9 / ns, ns, g_document.size(), raw, ns / raw);
    }
  }
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
  return 0;
}
