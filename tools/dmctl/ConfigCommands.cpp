// dmctl config: read, write, delete and list configuration parameters, list
// the schema; store secrets.
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/ConfigAccess.h"
#include "tools/dmctl/Output.h"
#include "tools/dmctl/Schema.h"

namespace dmctl {

std::string ReadParam(const std::string& path) {
  // Values may be long (cards, filter documents): grow until it fits.
  for (unsigned size = 4096; size <= (1u << 24); size *= 4) {
    std::string value(size, '\0');
    ForgetLibraryLog();
    const int rc = vmCfgGetParam(path.c_str(), &value[0], size);
    if (rc == VM_CFG_OK) {
      value.resize(std::char_traits<char>::length(value.c_str()));
      return value;
    }
    if (rc == VM_CFG_NOT_FOUND) throw Failure("no value for " + path);
    if (rc != VM_CFG_TOO_LONG) throw Failure(Because("cannot read " + path));
  }
  throw Failure("value of " + path + " is too long");
}

void WriteParam(const std::string& path, const std::string& value) {
  ForgetLibraryLog();
  const int rc = vmCfgSetParam(path.c_str(), value.c_str());
  if (rc == VM_CFG_BAD_ARG) throw Failure(Because("refused: " + path + " does not take '" + value + "'"));
  if (rc != VM_CFG_OK) throw Failure(Because("cannot write " + path));
}

std::map<std::string, std::string> StoredParams(const std::string& prefix) {
  ForgetLibraryLog();
  vmCfgIter* iter = vmCfgIterStartPath(prefix.c_str());
  if (iter == nullptr) throw Failure(Because("cannot read the database"));
  std::map<std::string, std::string> params;
  std::string text(1 << 16, '\0');
  int step = 0;
  for (const char* entry = vmCfgIterGetData(iter); entry != nullptr;
       step = vmCfgIterNext(iter), entry = step < 0 ? nullptr : vmCfgIterGetData(iter)) {
    const int rc = vmCfgIterGetValue(iter, &text[0], static_cast<unsigned>(text.size()));
    if (rc == VM_CFG_NOT_FOUND) continue;  // removed while we walked: not stored any more
    params[entry] = rc == VM_CFG_OK ? std::string(text.c_str()) : ReadParam(entry);
  }
  vmCfgIterEnd(iter);
  // A walk cut short (a damaged page, say) must not pass for a short list.
  if (step < 0) throw Failure(Because("cannot read the whole list"));
  return params;
}

void AddConfigCommands(CLI::App& app, Context& context) {
  CLI::App* config = app.add_subcommand("config", "Read and write the configuration database");
  config->require_subcommand(1);

  static std::string path;
  static std::string value;
  static bool force = false;
  CLI::App* get = config->add_subcommand("get", "Print the value of a parameter (its default when none is stored)");
  get->add_option("path", path, "Parameter path, e.g. device/model")->required();
  get->callback([&context] {
    PrintObject({{"path", Normalized(path)}, {"value", TypedValue(path, ReadParam(path))}}, context.json);
  });

  CLI::App* set = config->add_subcommand(
      "set", "Write the value of a parameter; refuses paths that the schema does not allow and new "
             "undeclared paths (unless --force), and values not of the parameter's type");
  set->add_option("path", path, "Parameter path")->required();
  set->add_option("value", value, "New value")->required();
  set->add_flag("--force", force, "Store a path that the schema does not declare");
  set->callback([] {
    CheckWritablePath(path, force);
    WriteParam(path, value);
  });

  CLI::App* remove = config->add_subcommand(
      "delete", "Remove the stored value of a parameter (a declared one reads as its default again)");
  remove->add_option("path", path, "Parameter path")->required();
  remove->callback([] {
    ForgetLibraryLog();
    const int rc = vmCfgDeleteParam(path.c_str());
    if (rc == VM_CFG_NOT_FOUND) throw Failure("nothing stored at " + Normalized(path));
    if (rc != VM_CFG_OK) throw Failure(Because("cannot delete " + Normalized(path)));
  });

  static std::string prefix;
  CLI::App* list = config->add_subcommand("list", "List the stored parameters under a prefix, in path order");
  list->add_option("prefix", prefix, "Path prefix (default: everything)");
  list->callback([&context] {
    Table table({"path", "value"});
    for (const auto& entry : StoredParams(prefix)) table.AddRow({entry.first, TypedValue(entry.first, entry.second)});
    table.Print(context.json);
  });

  CLI::App* schema = config->add_subcommand(
      "schema", "The declared parameters under a prefix: type, default, allowed values, slot count");
  schema->add_option("prefix", prefix, "Path prefix (default: everything)");
  schema->callback([&context] {
    Table table({"path", "type", "slots", "default", "values"});
    for (const SchemaEntry& entry : Schema()) {
      if (!PatternUnder(entry.pattern, prefix)) continue;
      table.AddRow({entry.pattern, entry.type, entry.slots, TypedValue(entry.pattern, entry.default_value),
                    entry.values.empty() ? Cell() : Cell(entry.values)});
    }
    if (table.size() == 0) throw Failure("no declared parameter under " + Normalized(prefix));
    table.Print(context.json);
  });

  CLI::App* secret = config->add_subcommand(
      "set-secret", "Store a secret (e.g. a password) encrypted under the device key; "
                    "the secret is read from standard input so it stays out of shell history");
  secret->add_option("path", path, "Parameter path, e.g. ems/server/password")->required();
  secret->callback([] {
    // The report's password buffer holds 63 bytes and a NUL: a longer secret,
    // or one with a NUL inside, could never be used, so it is refused here.
    constexpr size_t kLongest = 63;
    // Typed on a terminal, the secret is not echoed.
    struct NoEcho {
      termios saved{};
      bool active = isatty(STDIN_FILENO) == 1 && tcgetattr(STDIN_FILENO, &saved) == 0;
      NoEcho() {
        if (!active) return;
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
        std::cerr << "Secret: " << std::flush;
      }
      ~NoEcho() {
        if (!active) return;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        std::cerr << std::endl;
      }
    };
    std::string plain;
    {
      NoEcho no_echo;
      // One line, read no further than one byte past what could be used.
      for (int c = std::cin.get(); c != EOF && c != '\n' && plain.size() <= kLongest; c = std::cin.get()) {
        plain.push_back(static_cast<char>(c));
      }
    }
    const bool too_long = plain.size() > kLongest;
    const bool has_nul = plain.find('\0') != std::string::npos;
    const bool empty = plain.empty();
    if (too_long || has_nul || empty) {
      plain.assign(plain.size(), '\0');
      if (empty) throw Failure("no secret on standard input");
      throw Failure(too_long ? "refused: the secret is longer than 63 bytes"
                             : "refused: the secret holds a NUL byte");
    }
    char stored[4096];
    ForgetLibraryLog();
    if (VM_Encrypt_Path_Param(path.c_str(), plain.c_str(), stored, sizeof stored) != 0) {
      plain.assign(plain.size(), '\0');
      throw Failure(Because("cannot encrypt the secret"));
    }
    plain.assign(plain.size(), '\0');
    WriteParam(path, stored);
  });

  AddConfigTransferCommands(*config, context);
  AddConfigWatchCommand(*config, context);
}

}  // namespace dmctl
