// dmctl state: the per-feature system-state records.
#include <cstdlib>
#include <string>

#include "state/uSystemState.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

constexpr int kStates = 21;

// A state is named by its index in the path table, its last path segment
// ("network") or its whole path.
std::string ResolvePath(const std::string& name) {
  char* end = nullptr;
  const long index = std::strtol(name.c_str(), &end, 10);
  if (!name.empty() && *end == '\0') {
    const char* path = index >= 0 && index < kStates ? GetStatusSystemStatePath(static_cast<int>(index)) : nullptr;
    if (path == nullptr) throw Failure("no system state " + name + " (0 to 20)");
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
  return name;  // any other path holds a state record too
}

std::vector<std::string> Row(int index, const std::string& path) {
  SystemState record;
  const bool stored = GetStatusSystemState(path.c_str(), record) == 0;
  return {index >= 0 ? std::to_string(index) : "", path, stored ? record.m_status.GetString() : "",
          stored ? record.m_result.GetString() : "",
          stored ? (record.m_wasSuccessful.GetValue() ? "true" : "false") : "",
          stored ? record.m_info.GetString() : ""};
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
    const std::string path = ResolvePath(name);
    SystemState record;
    if (GetStatusSystemState(path.c_str(), record) != 0) throw Failure("no readable state at " + path);
    const std::vector<std::string> row = Row(-1, path);
    std::vector<std::pair<std::string, std::string>> members;
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
  set->callback([set] {
    const std::string path = ResolvePath(name);
    const auto given = [set](const char* option, const std::string& value) {
      return set->count(option) ? value.c_str() : nullptr;
    };
    if (SetStatusSystemState(path.c_str(), given("--status", status), given("--result", result),
                             given("--info", info)) != 0) {
      throw Failure("cannot store the state at " + path + " (see the log)");
    }
  });
}

}  // namespace dmctl
