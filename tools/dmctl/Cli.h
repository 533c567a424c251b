// What every dmctl command shares: the global options and how a command
// reports that it failed.
#ifndef DEVMGMT_TOOLS_DMCTL_CLI_H_
#define DEVMGMT_TOOLS_DMCTL_CLI_H_

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>

namespace dmctl {

struct Context {
  bool json = false;  // machine-readable output
};

// Thrown by a command that could not do its work; main prints the one-line
// message and exits with status 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Each group adds its subcommands to the application.
void AddConfigCommands(CLI::App& app, Context& context);
void AddEventCommands(CLI::App& app, Context& context);
void AddReportCommands(CLI::App& app, Context& context);
void AddStateCommands(CLI::App& app, Context& context);
void AddCertCommands(CLI::App& app, Context& context);
void AddPeriphCommands(CLI::App& app, Context& context);
void AddAlarmCommands(CLI::App& app, Context& context);

}  // namespace dmctl

#endif  // DEVMGMT_TOOLS_DMCTL_CLI_H_
