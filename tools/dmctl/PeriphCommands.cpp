// dmctl periph: peripheral rewriting, bundle lists, firmware files.
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "peripherals/BundleListParser.h"
#include "peripherals/PeripheralDeviceRewriter.h"
#include "peripherals/PeripheralDevices.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"

namespace dmctl {
namespace {

std::string Text(const IStringElement& leaf) { return leaf.IsSet() ? leaf.GetString() : ""; }

// The default filters: --filters, else the environment's choice, else the
// device's file when there is one, else the sample installed with dmctl.
std::string DefaultFilters(const std::string& given) {
  if (!given.empty()) return given;
  const char* chosen = std::getenv(PeripheralDeviceRewriter::DEFAULT_FILTERS_ENV);
  if (chosen != nullptr && chosen[0] != '\0') return chosen;
  if (access(PeripheralDeviceRewriter::PERIPHERAL_DEFAULT_FILTERS_JSON, R_OK) == 0) {
    return PeripheralDeviceRewriter::PERIPHERAL_DEFAULT_FILTERS_JSON;
  }
  // DMCTL_SAMPLE_FILTERS is relative to the folder dmctl is installed in.
  char self[4096];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) return DMCTL_SAMPLE_FILTERS;
  std::string folder(self, static_cast<size_t>(length));
  return folder.substr(0, folder.rfind('/') + 1) + DMCTL_SAMPLE_FILTERS;
}

}  // namespace

void AddPeriphCommands(CLI::App& app, Context& context) {
  CLI::App* periph = app.add_subcommand("periph", "Peripheral names, bundles and firmware files");
  periph->require_subcommand(1);

  static std::string name;
  static int vid = -1;
  static int pid = -1;
  static std::string type;
  static std::string filters;
  CLI::App* rewrite = periph->add_subcommand("rewrite", "Show how a detected peripheral is described after the filters");
  rewrite->add_option("--name", name, "Name the device reports")->required();
  rewrite->add_option("--vid", vid, "USB vendor id (decimal or 0x..)");
  rewrite->add_option("--pid", pid, "USB product id (decimal or 0x..)");
  rewrite->add_option("--type", type, "Detected type");
  rewrite->add_option("--filters", filters,
                      std::string("Default filters file (default: ") + PeripheralDeviceRewriter::DEFAULT_FILTERS_ENV +
                          ", else " + PeripheralDeviceRewriter::PERIPHERAL_DEFAULT_FILTERS_JSON +
                          " if present, else the installed sample, share/devmgmt/default_peripheral_filters.json); "
                          "the configured filters come first");
  rewrite->callback([&context] {
    const std::string file = DefaultFilters(filters);
    const bool readable = access(file.c_str(), R_OK) == 0;
    if (!filters.empty()) {
      // A file asked for by name must be usable; a missing default only means none.
      PeripheralDeviceFiltersJson probe;
      ForgetLibraryLog();
      if (!readable || !PeripheralDeviceRewriter::GetFilterListFromJsonFile(file, probe)) {
        throw Failure(readable ? Because("no filters in " + file) : "cannot read " + file);
      }
    }
    // The rewriter reads its default filters once, when it is made.
    setenv(PeripheralDeviceRewriter::DEFAULT_FILTERS_ENV, file.c_str(), 1);
    PeripheralInfo in;
    PeripheralInfo out;
    in.m_name.SetValue(name);
    in.m_vid.SetValue(vid);
    in.m_pid.SetValue(pid);
    if (!type.empty()) in.m_type.SetValue(type);
    PeripheralDeviceRewriter* rewriter = PeripheralDeviceRewriter::Instance();  // null only when out of memory
    if (rewriter == nullptr) throw Failure(Because("cannot make the rewriter"));
    const bool matched = rewriter->RewritePeripheralInfo(in, out);
    PrintObject({{"matched", matched},
                 {"filters", readable ? Cell(file) : Cell()},
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
      table.AddRow({"device", entity.m_name, entity.m_displayName, entity.m_types, entity.m_hwInterfaces,
                    entity.GetSource(true)});
    }
    for (const BundleEntity& entity : BundleListParser::GetHostBundleList()) {
      table.AddRow({"host", entity.m_name, entity.m_displayName, entity.m_types, entity.m_hwInterfaces,
                    entity.GetSource(true)});
    }
    table.Print(context.json);
  });

  static int slot = 0;
  CLI::App* fw = periph->add_subcommand("fw-path", "The unpacked firmware file for the peripheral in a status slot");
  fw->add_option("slot", slot, "Status slot (0-10)")->required()->check(CLI::Range(0, 10));
  fw->callback([&context] {
    ForgetLibraryLog();
    const std::string path = GetPeripheralDeviceFwFilePathByDeviceIndex(slot);
    if (path.empty()) throw Failure(Because("no firmware file for slot " + std::to_string(slot)));
    PrintObject({{"slot", slot}, {"path", path}}, context.json);
  });
}

}  // namespace dmctl
