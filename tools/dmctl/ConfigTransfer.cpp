// dmctl config export / import: the stored parameters as one JSON object of
// path -> value, for backups and for provisioning a device.
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/vmCfg.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Files.h"
#include "tools/dmctl/ConfigAccess.h"
#include "tools/dmctl/Output.h"
#include "tools/dmctl/Schema.h"

namespace dmctl {
namespace {

// Larger files are refused rather than read whole.
constexpr int64_t kMaxImportBytes = 16 << 20;

struct Write {
  std::string path;
  std::string value;
};

// The text to store for one member, or a reason to refuse it.
bool StoredText(const std::string& path, const rapidjson::Value& value, std::string* text, std::string* why) {
  const SchemaEntry* entry = Declared(path);
  const std::string type = entry ? entry->type : "string";
  if (type == "integer" && value.IsInt()) {
    *text = std::to_string(value.GetInt());
    return true;
  }
  if (type == "enum") {
    for (size_t i = 0; i < entry->values.size(); ++i) {
      if ((value.IsString() && entry->values[i] == value.GetString()) ||
          (value.IsInt() && value.GetInt() == static_cast<int>(i))) {
        *text = entry->values[i];
        return true;
      }
    }
    *why = "not one of its values";
    return false;
  }
  if (type == "string" && value.IsString()) {
    text->assign(value.GetString(), value.GetStringLength());
    if (text->find('\0') == std::string::npos) return true;
    *why = "holds a NUL character";
    return false;
  }
  *why = "not " + std::string(type == "integer" ? "an integer" : "a string");
  return false;
}

// Every write of an import, as one write batch: all or nothing, and watchers
// hear of the whole import at once.
void ApplyWrites(const std::vector<Write>& writes) {
  ForgetLibraryLog();
  if (vmCfgBatchBegin() != VM_CFG_OK) throw Failure(Because("cannot start writing the import"));
  for (const Write& write : writes) {
    ForgetLibraryLog();
    if (vmCfgSetParam(write.path.c_str(), write.value.c_str()) == VM_CFG_OK) continue;
    const std::string reason = Because("cannot write " + write.path);
    vmCfgBatchRollback();
    throw Failure(reason + "; nothing was written");
  }
  ForgetLibraryLog();
  if (vmCfgBatchCommit() != VM_CFG_OK) throw Failure(Because("cannot commit the import") + "; nothing was written");
}

}  // namespace

void AddConfigTransferCommands(CLI::App& config, Context& context) {
  static std::string prefix;
  CLI::App* exporter = config.add_subcommand(
      "export", "Print the stored parameters under a prefix as one JSON object (path: value), for 'config import'");
  exporter->add_option("prefix", prefix, "Path prefix (default: everything)");
  exporter->callback([] {
    rapidjson::StringBuffer text;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(text);
    writer.StartObject();
    for (const auto& entry : StoredParams(Normalized(prefix))) {
      const std::string key = ValidUtf8(entry.first);
      writer.Key(key.c_str(), static_cast<rapidjson::SizeType>(key.size()));
      const std::string value = TypedValue(entry.first, entry.second).Json();
      writer.RawValue(value.c_str(), value.size(), rapidjson::kStringType);
    }
    writer.EndObject();
    std::printf("%s\n", text.GetString());
  });

  static std::string file;
  static bool dry_run = false;
  static bool force = false;
  CLI::App* importer = config.add_subcommand(
      "import", "Write the parameters of a JSON object (as 'config export' prints it), all or nothing; "
                "every path and value is checked before anything is written");
  importer->add_option("file", file, "JSON file")->required();
  importer->add_flag("--dry-run", dry_run, "Check and report, write nothing");
  importer->add_flag("--force", force, "Also store paths that the schema does not declare");
  importer->callback([&context] {
    const std::string text = ReadInputFile(file, kMaxImportBytes);
    rapidjson::Document document;
    document.Parse<rapidjson::kParseValidateEncodingFlag>(text.c_str(), text.size());
    if (document.HasParseError()) {
      throw UsageError(file + " is not JSON: " + rapidjson::GetParseError_En(document.GetParseError()) +
                       " at byte " + std::to_string(document.GetErrorOffset()));
    }
    if (!document.IsObject()) throw UsageError(file + " is not a JSON object of path: value");
    std::vector<Write> writes;
    std::string problems;
    int refused = 0;
    for (const auto& member : document.GetObject()) {
      const std::string path = Normalized(std::string(member.name.GetString(), member.name.GetStringLength()));
      std::string value;
      std::string why;
      try {
        CheckWritablePath(path, force);
        if (StoredText(path, member.value, &value, &why)) {
          writes.push_back({path, value});
          continue;
        }
        why = path + ": " + why;
      } catch (const UsageError& error) {
        why = error.what();
      }
      problems += (problems.empty() ? "" : "; ") + why;
      ++refused;
    }
    if (refused > 0) {
      throw UsageError("nothing imported from " + file + ", " + std::to_string(refused) + " refused: " + problems);
    }
    int changed = 0;
    const std::map<std::string, std::string> stored = StoredParams("");
    for (const Write& write : writes) {
      const auto it = stored.find(write.path);
      if (it == stored.end() || it->second != write.value) ++changed;
    }
    if (!dry_run) ApplyWrites(writes);
    PrintObject({{"file", file},
                 {"parameters", static_cast<int>(writes.size())},
                 {"changed", changed},
                 {"written", !dry_run}},
                context.json);
  });
}

}  // namespace dmctl
