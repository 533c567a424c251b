// The bash completion script, generated from the same command definitions
// as --help so that the two never disagree.
#ifndef DEVMGMT_TOOLS_DMCTL_COMPLETION_H_
#define DEVMGMT_TOOLS_DMCTL_COMPLETION_H_

#include <CLI/CLI.hpp>

#include <string>

namespace dmctl {

std::string BashCompletion(const CLI::App& app);

}  // namespace dmctl

#endif  // DEVMGMT_TOOLS_DMCTL_COMPLETION_H_
