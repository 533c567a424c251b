// dmctl periph: peripheral rewriting, bundle lists, firmware files.
#include <string>

#include "peripherals/BundleListParser.h"
#include "peripherals/PeripheralDeviceRewriter.h"
#include "peripherals/PeripheralDevices.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

std::string Text(const IStringElement& leaf) { return leaf.IsSet() ? leaf.GetString() : ""; }

std::string Join(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

}  // namespace

void AddPeriphCommands(CLI::App& app, Context& context) {
  CLI::App* periph = app.add_subcommand("periph", "Peripheral names, bundles and firmware files");
  periph->require_subcommand(1);

  static std::string name;
  static int vid = -1;
  static int pid = -1;
  static std::string type;
  CLI::App* rewrite = periph->add_subcommand("rewrite", "Show how a detected peripheral is described after the filters");
  rewrite->add_option("--name", name, "Name the device reports")->required();
  rewrite->add_option("--vid", vid, "USB vendor id (decimal or 0x..)");
  rewrite->add_option("--pid", pid, "USB product id (decimal or 0x..)");
  rewrite->add_option("--type", type, "Detected type");
  rewrite->callback([&context] {
    PeripheralInfo in;
    PeripheralInfo out;
    in.m_name.SetValue(name);
    in.m_vid.SetValue(vid);
    in.m_pid.SetValue(pid);
    if (!type.empty()) in.m_type.SetValue(type);
    const bool matched = PeripheralDeviceRewriter::Instance()->RewritePeripheralInfo(in, out);
    PrintObject({{"matched", matched ? "true" : "false"},
                 {"name", Text(out.m_name)},
                 {"display_name", Text(out.m_displayName)},
                 {"type", Text(out.m_type)},
                 {"hw_type", Text(out.m_hwType)},
                 {"manufacturer", Text(out.m_manufacturer)},
                 {"additional_info", Text(out.m_additionalInfo)}},
                context.json);
  });

  CLI::App* bundles = periph->add_subcommand("bundles", "The device and host bundle lists, as rewritten");
  bundles->callback([&context] {
    Table table({"list", "name", "display_name", "types", "interfaces", "source"});
    for (const BundleEntity& entity : BundleListParser::GetDeviceReWrittenBundleList()) {
      table.AddRow({"device", entity.m_name, entity.m_displayName, Join(entity.m_types), Join(entity.m_hwInterfaces),
                    entity.GetSource(true)});
    }
    for (const BundleEntity& entity : BundleListParser::GetHostBundleList()) {
      table.AddRow({"host", entity.m_name, entity.m_displayName, Join(entity.m_types), Join(entity.m_hwInterfaces),
                    entity.GetSource(true)});
    }
    table.Print(context.json);
  });

  static int slot = 0;
  CLI::App* fw = periph->add_subcommand("fw-path", "The unpacked firmware file for the peripheral in a status slot");
  fw->add_option("slot", slot, "Status slot (0-10)")->required()->check(CLI::Range(0, 10));
  fw->callback([&context] {
    const std::string path = GetPeripheralDeviceFwFilePathByDeviceIndex(slot);
    if (path.empty()) throw Failure("no firmware file for slot " + std::to_string(slot) + " (see the log)");
    PrintObject({{"slot", std::to_string(slot)}, {"path", path}}, context.json);
  });
}

}  // namespace dmctl
