// dmctl: the device integrator's command line over the device-management
// library and its host platform.
//
// Exit status: 0 done, 1 the command failed (one line on stderr), 2 bad usage
// (nothing was changed), 3 a listener timed out with nothing received.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "devmgmt.h"
#include "platform/vmCfg.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Completion.h"

namespace {

// The command that `words` name, from `app` down; throws UsageError naming
// the first word that is not a command where one is expected.
CLI::App* FindCommand(CLI::App* app, const std::vector<std::string>& words, bool skip_options) {
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (skip_options && word.size() > 1 && word[0] == '-') {
      if (word == "--") break;
      // An option that takes a value (not given as --name=value) consumes the next word.
      const CLI::Option* option = nullptr;
      for (CLI::App* owner = app; owner != nullptr && option == nullptr; owner = owner->get_parent()) {
        option = owner->get_option_no_throw(word.substr(0, word.find('=')));
      }
      if (option == nullptr && word.compare(0, 2, "--") == 0) {
        throw dmctl::UsageError("unknown option " + word + (app->get_parent() ? " for '" + app->get_name() + "'" : ""));
      }
      if (option != nullptr && option->get_items_expected_min() > 0 && word.find('=') == std::string::npos) ++i;
      continue;
    }
    if (app->get_subcommands({}).empty()) break;  // the rest are the command's own arguments
    CLI::App* next = nullptr;
    for (CLI::App* command : app->get_subcommands({})) {
      if (command->check_name(word)) next = command;
    }
    if (next == nullptr) {
      std::string known;
      for (const CLI::App* command : app->get_subcommands({})) {
        known += (known.empty() ? "" : ", ") + command->get_name();
      }
      const std::string where = app->get_parent() ? "'" + app->get_name() + "' has no command '" : "no command '";
      throw dmctl::UsageError(where + word + "' (commands: " + known + ")");
    }
    app = next;
  }
  return app;
}

}  // namespace

int main(int argc, char** argv) {
  dmctl::CaptureLibraryLog();
  CLI::App app{"dmctl: manage the device's configuration, alarms, events, reports, certificates, "
               "signed files, peripherals and system states"};
  app.require_subcommand(1);
  app.fallthrough();
  app.set_help_all_flag("--help-all", "Print the help of every command");
  app.footer(
      "Exit status: 0 done, 1 failed (one line on stderr says why), 2 bad usage (nothing changed), "
      "3 a listener (listen, watch, config watch) timed out with nothing received.\n"
      "Run 'dmctl COMMAND --help' or 'dmctl help COMMAND' for a command's options.");
  dmctl::Context context;
  std::string database;
  bool verbose = false;
  bool completion = false;
  app.add_option("--db", database, "Configuration database file (default: VM_CFG_DB, else the embedded one)");
  app.add_flag("--json", context.json, "Print JSON instead of tables");
  app.add_flag("-v,--verbose", verbose, "Print the library's log lines on stderr");
  // The releases of the libraries actually loaded, which may be newer than
  // the ones dmctl was built with.
  app.set_version_flag("--version", [] {
    return std::string("libdevmgmt ") + devmgmt_version() + "\nlibdmplatform " + dmplatform_version();
  }, "Print the versions of the device-management library and the platform library");
  app.add_flag("--bash-completion", completion, "Print the bash completion script and exit")->group("");
  dmctl::AddConfigCommands(app, context);
  dmctl::AddAlarmCommands(app, context);
  dmctl::AddEventCommands(app, context);
  dmctl::AddReportCommands(app, context);
  dmctl::AddStateCommands(app, context);
  dmctl::AddCertCommands(app, context);
  dmctl::AddPeriphCommands(app, context);
  static std::vector<std::string> topic;
  CLI::App* help = app.add_subcommand("help", "Print the help of a command, e.g. 'dmctl help config set'");
  help->add_option("command", topic, "Command words");

  // Options are applied before any command touches the libraries.
  app.parse_complete_callback([&] {
    if (completion) return;
    if (verbose) setenv("VM_LOG", "stderr", 1);
    if (!database.empty()) {
      struct stat info;
      if (stat(database.c_str(), &info) != 0) {
        throw dmctl::Failure("database " + database + " does not exist");
      }
      if (vmCfgUseDatabase(database.c_str()) != VM_CFG_OK) {
        throw dmctl::Failure(dmctl::Because("cannot open database " + database));
      }
    }
  });
  help->callback([&] { std::printf("%s", FindCommand(&app, topic, false)->help().c_str()); });

  try {
    const std::vector<std::string> words(argv + 1, argv + argc);
    for (const std::string& word : words) {
      if (word == "--bash-completion") {
        std::printf("%s", dmctl::BashCompletion(app).c_str());
        return 0;
      }
    }
    FindCommand(&app, words, true);
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
    std::fprintf(stderr, "dmctl: %s (run 'dmctl --help' for usage)\n", error.what());
    return 2;
  } catch (const dmctl::UsageError& failure) {
    std::fprintf(stderr, "dmctl: %s (run 'dmctl --help' for usage)\n", failure.what());
    return 2;
  } catch (const dmctl::TimedOut& failure) {
    std::fprintf(stderr, "dmctl: %s\n", failure.what());
    return 3;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "dmctl: %s\n", error.what());
    return 1;
  }
  return 0;
}
