// dmctl state: the per-feature system-state records.
#include <cstdlib>
#include <string>

#include "platform/vmCfg.h"
#include "state/uSystemState.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

constexpr int kStates = 21;

// A state is named by its index in the path table, its last path segment
// ("network") or its whole path; another path only with `force`.
std::string ResolvePath(const std::string& name, bool force = false) {
  char* end = nullptr;
  const long index = std::strtol(name.c_str(), &end, 10);
  if (!name.empty() && *end == '\0') {
    const char* path = index >= 0 && index < kStates ? GetStatusSystemStatePath(static_cast<int>(index)) : nullptr;
    if (path == nullptr) throw UsageError("no system state " + name + " (0 to 20)");
    return path;
  }
  for (int i = 0; i < kStates; ++i) {
    const std::string path = GetStatusSystemStatePath(i);
    const std::string tail = "/" + name;
    const bool ends_with = path.size() > tail.size() && path.compare(path.size() - tail.size(), tail.size(), tail) == 0;
    if (path == name || ends_with) {
      return path;
    }
  }
  // Any other path can hold a state record too, but a typo must not make one.
  if (force && name.find('/') != std::string::npos) return name;
  throw UsageError("no system state " + name + " (see 'dmctl state list'; --force stores a new path)");
}

// A state never stored has null members.
std::vector<Cell> Row(int index, const std::string& path) {
  SystemState record;
  const bool stored = GetStatusSystemState(path.c_str(), record) == 0;
  return {index >= 0 ? Cell(index) : Cell(), path, stored ? Cell(record.m_status.GetString()) : Cell(),
          stored ? Cell(record.m_result.GetString()) : Cell(),
          stored ? Cell(record.m_wasSuccessful.GetValue()) : Cell(), stored ? Cell(record.m_info.GetString()) : Cell()};
}

}  // namespace

void AddStateCommands(CLI::App& app, Context& context) {
  CLI::App* state = app.add_subcommand("state", "Read and write the system-state records");
  state->require_subcommand(1);
  const std::vector<std::string> columns = {"index", "path", "status", "result", "wasSuccessful", "info"};

  CLI::App* list = state->add_subcommand("list", "Every system state of the path table");
  list->callback([&context, columns] {
    Table table(columns);
    for (int i = 0; i < kStates; ++i) table.AddRow(Row(i, GetStatusSystemStatePath(i)));
    table.Print(context.json);
  });

  static std::string name;
  CLI::App* get = state->add_subcommand("get", "One system state");
  get->add_option("state", name, "Index (0-20), name (network) or path")->required();
  get->callback([&context, columns] {
    const std::string path = ResolvePath(name, true);  // reading any path creates nothing
    SystemState record;
    ForgetLibraryLog();
    if (GetStatusSystemState(path.c_str(), record) != 0) {
      char probe[2];
      const bool stored = vmCfgGetParam(path.c_str(), probe, sizeof probe) != VM_CFG_NOT_FOUND;
      throw Failure(stored ? Because("no readable state at " + path) : "no state stored at " + path);
    }
    const std::vector<Cell> row = Row(-1, path);
    Members members;
    for (size_t i = 1; i < columns.size(); ++i) members.emplace_back(columns[i], row[i]);
    PrintObject(members, context.json);
  });

  static std::string status;
  static std::string result;
  static std::string info;
  CLI::App* set = state->add_subcommand("set", "Store a fresh record (members not given are stored empty)");
  set->add_option("state", name, "Index (0-20), name (network) or path")->required();
  set->add_option("--status", status, "Status text");
  set->add_option("--result", result, "Result text");
  set->add_option("--info", info, "Free text");
  static bool force = false;
  set->add_flag("--force", force, "Store a record at a path that is not a known state");
  set->callback([set] {
    const std::string path = ResolvePath(name, force);
    const auto given = [set](const char* option, const std::string& value) {
      return set->count(option) ? value.c_str() : nullptr;
    };
    ForgetLibraryLog();
    if (SetStatusSystemState(path.c_str(), given("--status", status), given("--result", result),
                             given("--info", info)) != 0) {
      throw Failure(Because("cannot store the state at " + path));
    }
  });
}

}  // namespace dmctl
