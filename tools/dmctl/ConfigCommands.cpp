// dmctl config: read, write and list configuration parameters; store secrets.
#include <iostream>
#include <string>

#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

std::string ReadParam(const std::string& path) {
  // Values may be long (cards, filter documents): grow until it fits.
  for (unsigned size = 4096; size <= (1u << 24); size *= 4) {
    std::string value(size, '\0');
    const int rc = vmCfgGetParam(path.c_str(), &value[0], size);
    if (rc == VM_CFG_OK) {
      value.resize(std::char_traits<char>::length(value.c_str()));
      return value;
    }
    if (rc == VM_CFG_NOT_FOUND) throw Failure("no value for " + path);
    if (rc != VM_CFG_TOO_LONG) throw Failure("cannot read " + path + " (see the log)");
  }
  throw Failure("value of " + path + " is too long");
}

void WriteParam(const std::string& path, const std::string& value) {
  const int rc = vmCfgSetParam(path.c_str(), value.c_str());
  if (rc == VM_CFG_BAD_ARG) throw Failure("refused: " + path + " does not take that value");
  if (rc != VM_CFG_OK) throw Failure("cannot write " + path + " (see the log)");
}

}  // namespace

void AddConfigCommands(CLI::App& app, Context& context) {
  CLI::App* config = app.add_subcommand("config", "Read and write the configuration database");
  config->require_subcommand(1);

  static std::string path;
  static std::string value;
  CLI::App* get = config->add_subcommand("get", "Print the value of a parameter");
  get->add_option("path", path, "Parameter path, e.g. device/model")->required();
  get->callback([&context] { PrintObject({{"path", path}, {"value", ReadParam(path)}}, context.json); });

  CLI::App* set = config->add_subcommand("set", "Write the value of a parameter");
  set->add_option("path", path, "Parameter path")->required();
  set->add_option("value", value, "New value")->required();
  set->callback([] { WriteParam(path, value); });

  static std::string prefix;
  CLI::App* list = config->add_subcommand("list", "List the stored parameters under a prefix, in path order");
  list->add_option("prefix", prefix, "Path prefix (default: everything)");
  list->callback([&context] {
    vmCfgIter* iter = vmCfgIterStartPath(prefix.c_str());
    if (iter == nullptr) throw Failure("cannot read the database (see the log)");
    Table table({"path", "value"});
    std::string text(1 << 16, '\0');
    int step = 0;
    for (const char* entry = vmCfgIterGetData(iter); entry != nullptr;
         step = vmCfgIterNext(iter), entry = step < 0 ? nullptr : vmCfgIterGetData(iter)) {
      const int rc = vmCfgIterGetValue(iter, &text[0], static_cast<unsigned>(text.size()));
      table.AddRow({entry, rc == VM_CFG_OK ? std::string(text.c_str()) : "<too long>"});
    }
    vmCfgIterEnd(iter);
    if (step < 0) throw Failure("cannot read the whole list (see the log)");
    table.Print(context.json);
  });

  CLI::App* secret = config->add_subcommand(
      "set-secret", "Store a secret (e.g. a password) encrypted under the device key; "
                    "the secret is read from standard input so it stays out of shell history");
  secret->add_option("path", path, "Parameter path, e.g. ems/server/password")->required();
  secret->callback([] {
    std::string plain;
    std::getline(std::cin, plain);
    if (plain.empty()) throw Failure("no secret on standard input");
    char stored[4096];
    if (VM_Encrypt_Param(plain.c_str(), stored, sizeof stored) != 0) {
      plain.assign(plain.size(), '\0');
      throw Failure("cannot encrypt the secret (see the log)");
    }
    plain.assign(plain.size(), '\0');
    WriteParam(path, stored);
  });
}

}  // namespace dmctl
