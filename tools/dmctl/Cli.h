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

// The command line cannot be taken as written (an unknown name, a path the
// schema does not allow, a malformed value): nothing was changed; exit 2.
class UsageError : public Failure {
 public:
  using Failure::Failure;
};

// A listener's time-out passed with nothing received: exit 3.
class TimedOut : public Failure {
 public:
  using Failure::Failure;
};

// Keeps the library's last error or warning line from now on (main calls it
// first thing), so that failures can say why.
void CaptureLibraryLog();
// "`what`: <the reason the library logged since the last call>", or `what`
// with a hint to run with -v when the library said nothing.
std::string Because(const std::string& what);
// Forgets the reason logged so far (before a call whose failure is reported).
void ForgetLibraryLog();

// Each group adds its subcommands to the application.
void AddConfigCommands(CLI::App& app, Context& context);
void AddEventCommands(CLI::App& app, Context& context);
void AddReportCommands(CLI::App& app, Context& context);
void AddStateCommands(CLI::App& app, Context& context);
void AddCertCommands(CLI::App& app, Context& context);
void AddPeriphCommands(CLI::App& app, Context& context);
void AddAlarmCommands(CLI::App& app, Context& context);
void AddConfigWatchCommand(CLI::App& config, Context& context);
void AddConfigTransferCommands(CLI::App& config, Context& context);
void AddSigSignCommand(CLI::App& sig, Context& context);

}  // namespace dmctl

#endif  // DEVMGMT_TOOLS_DMCTL_CLI_H_
