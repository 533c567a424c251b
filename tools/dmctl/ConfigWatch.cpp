// dmctl config watch: every change of the stored parameters under some
// prefixes, by any process, as it happens.
#include <map>
#include <string>
#include <vector>

#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/ConfigAccess.h"
#include "tools/dmctl/Output.h"
#include "tools/dmctl/Schema.h"
#include "tools/dmctl/StopRule.h"

namespace dmctl {
namespace {

std::map<std::string, std::string> Snapshot(const std::vector<std::string>& prefixes) {
  if (prefixes.empty()) return StoredParams("");
  std::map<std::string, std::string> params;
  for (const std::string& prefix : prefixes) {
    for (auto& entry : StoredParams(Normalized(prefix))) params.insert(std::move(entry));
  }
  return params;
}

}  // namespace

void AddConfigWatchCommand(CLI::App& config, Context& context) {
  static std::vector<std::string> prefixes;
  static StopRule stop("change");
  CLI::App* watch = config.add_subcommand(
      "watch", "Print every change of the stored parameters under the prefixes (default: all), by any process, "
               "until interrupted; a removed value prints as null");
  watch->add_option("prefix", prefixes, "Path prefixes");
  stop.AddOptions(watch);
  watch->callback([&context] {
    ConfigManager* manager = ConfigManager::Instance();
    // The watch exists before the first snapshot, so that no change falls between them.
    if (manager->waitForChange(0) < 0) throw Failure(Because("cannot watch the database"));
    std::map<std::string, std::string> last = Snapshot(prefixes);
    // On stderr, so that stdout carries only changes (JSON lines with --json).
    std::fprintf(stderr, "watching %s (Ctrl-C to stop)\n", vmCfgDatabasePath());
    const auto print = [&](const std::string& path, const Cell& value) {
      Table line({"path", "value"});
      line.AddRow({path, value});
      if (context.json) {
        line.PrintRowAsJsonLine(0);
      } else {
        std::printf("%s %s\n", path.c_str(), value.kind() == Cell::Kind::kNull ? "(removed)" : value.Text().c_str());
        std::fflush(stdout);
      }
      stop.Arrived();
    };
    stop.Start();
    while (stop.KeepGoing()) {
      ForgetLibraryLog();
      const int woken = manager->waitForChange(200);
      if (woken < 0) throw Failure(Because("cannot watch the database"));
      if (woken == 0) continue;
      std::map<std::string, std::string> now = Snapshot(prefixes);
      for (const auto& entry : now) {
        const auto it = last.find(entry.first);
        if ((it == last.end() || it->second != entry.second) && stop.Wants()) {
          print(entry.first, TypedValue(entry.first, entry.second));
        }
      }
      for (const auto& entry : last) {
        if (now.count(entry.first) == 0 && stop.Wants()) print(entry.first, Cell());
      }
      last = std::move(now);
    }
  });
}

}  // namespace dmctl
