// dmctl: the device integrator's command line over the device-management
// library and its host platform.
//
// Exit status: 0 done, 1 the command failed (one line on stderr), 2 bad usage.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "devmgmt.h"
#include "platform/vmCfg.h"
#include "tools/dmctl/Cli.h"

int main(int argc, char** argv) {
  CLI::App app{"dmctl: manage the device's configuration, alarms, events, reports, certificates, "
               "signed files, peripherals and system states"};
  app.require_subcommand(1);
  app.fallthrough();
  dmctl::Context context;
  std::string database;
  bool verbose = false;
  app.add_option("--db", database, "Configuration database file (default: VM_CFG_DB, else the embedded one)");
  app.add_flag("--json", context.json, "Print JSON instead of tables");
  app.add_flag("-v,--verbose", verbose, "Print the library's log lines on stderr");
  // The releases of the libraries actually loaded, which may be newer than
  // the ones dmctl was built with.
  app.set_version_flag("--version", [] {
    return std::string("libdevmgmt ") + devmgmt_version() + "\nlibdmplatform " + dmplatform_version();
  }, "Print the versions of the device-management library and the platform library");
  dmctl::AddConfigCommands(app, context);
  dmctl::AddAlarmCommands(app, context);
  dmctl::AddEventCommands(app, context);
  dmctl::AddReportCommands(app, context);
  dmctl::AddStateCommands(app, context);
  dmctl::AddCertCommands(app, context);
  dmctl::AddPeriphCommands(app, context);

  // Options are applied before any command touches the libraries.
  app.parse_complete_callback([&] {
    if (verbose) setenv("VM_LOG", "stderr", 1);
    if (!database.empty()) {
      struct stat info;
      if (stat(database.c_str(), &info) != 0) {
        throw dmctl::Failure("database " + database + " does not exist");
      }
      if (vmCfgUseDatabase(database.c_str()) != VM_CFG_OK) {
        throw dmctl::Failure("cannot open database " + database);
      }
    }
  });

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::printf("%s", app.help().c_str());
    return 0;
  } catch (const CLI::CallForVersion& version) {
    std::printf("%s\n", version.what());
    return 0;
  } catch (const CLI::CallForAllHelp&) {
    std::printf("%s", app.help("", CLI::AppFormatMode::All).c_str());
    return 0;
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "dmctl: %s\nRun 'dmctl --help' for usage.\n", error.what());
    return 2;
  } catch (const dmctl::Failure& failure) {
    std::fprintf(stderr, "dmctl: %s\n", failure.what());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "dmctl: %s\n", error.what());
    return 1;
  }
  return 0;
}
