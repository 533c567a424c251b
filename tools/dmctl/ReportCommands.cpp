// dmctl report: build the EMS requests from the configuration and print them.
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <string>
#include <vector>

#include "ems/EMSMessageBuilderSfb.h"
#include "ems/EmsRequests.h"
#include "events/SingletonHolder.h"
#include "platform/uJson.h"
#include "platform/vmCfg.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

EMSMessageBuilder* Builder() {
  // The builder leaves fields empty when the database cannot be read: a
  // report must not look complete then.
  char probe[256];
  ForgetLibraryLog();
  if (vmCfgGetParam("device/model", probe, sizeof probe) == VM_CFG_ERROR) {
    throw Failure(Because("cannot read the configuration database " + std::string(vmCfgDatabasePath())));
  }
  static bool initialised = false;
  if (!initialised) {
    InitEMSMessageBuilderBaseInstance();
    initialised = true;
  }
  return SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>::Instance();
}

// Requests are JSON already: compact for scripts, indented for people.
void PrintRequest(const ISerializable& request, bool json) {
  std::string text;
  if (uJson::Serializer::Serialize(request, text) != 0) throw Failure("cannot serialise the request");
  if (json) {
    std::printf("%s\n", Cell::Document(text).Json().c_str());  // re-written: always valid UTF-8
    return;
  }
  rapidjson::Document document;
  document.Parse(text.c_str(), text.size());
  rapidjson::StringBuffer pretty;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(pretty);
  document.Accept(writer);
  std::printf("%s\n", pretty.GetString());
}

}  // namespace

void AddReportCommands(CLI::App& app, Context& context) {
  CLI::App* report = app.add_subcommand("report", "Build and print the requests sent to the EMS");
  report->require_subcommand(1);

  static int state = PHONE_STATE_PERIODIC;
  CLI::App* status = report->add_subcommand("status", "The periodic status report");
  status->add_option("--state", state, "Phone state for the status text (0 started, 1 periodic, 2 restarting, 3 upgrading)")
      ->capture_default_str();
  status->callback([&context] {
    EMSMessageBuilder* builder = Builder();
    EmsIppStatusRequest request;
    builder->BuildStatusBaseMsg(&request);
    builder->BuildStatusMsg(&request);
    request.m_status.SetValue(std::string(builder->EmsGetStatusStr(static_cast<E_PHONE_STATE_TYPE>(state))));
    PrintRequest(request, context.json);
  });

  static std::string list_name = "cfgParams";
  static std::vector<std::string> paths;
  CLI::App* cfg = report->add_subcommand("cfg", "A configuration report of the given parameters");
  cfg->add_option("--name", list_name, "Name of the parameter list")->capture_default_str();
  cfg->add_option("paths", paths, "Parameter paths to report")->required();
  cfg->callback([&context] {
    EmsCfgReportRequest request(list_name.c_str());
    Builder()->BuildStatusBaseMsg(&request);
    for (const std::string& path : paths) {
      char value[2048];
      ForgetLibraryLog();
      const int rc = vmCfgGetParam(path.c_str(), value, sizeof value);
      if (rc == VM_CFG_NOT_FOUND) throw Failure("no value for " + path);
      if (rc != VM_CFG_OK) throw Failure(Because("cannot read " + path));
      request.m_params.AddElement(path, value);
    }
    PrintRequest(request, context.json);
  });

  CLI::App* keys = report->add_subcommand("user-keys", "The status report with the user's function keys");
  keys->callback([&context] {
    EMSMessageBuilder* builder = Builder();
    UserDataKeysConf request;
    builder->BuildStatusBaseMsg(&request);
    builder->BuildStatusMsg(&request);
    PrintRequest(request, context.json);
  });
}

}  // namespace dmctl
