// Reading and writing parameters for the config commands, with failures
// that say why.
#ifndef DEVMGMT_TOOLS_DMCTL_CONFIGACCESS_H_
#define DEVMGMT_TOOLS_DMCTL_CONFIGACCESS_H_

#include <map>
#include <string>

namespace dmctl {

// The value of a path (stored, else its default); throws Failure.
std::string ReadParam(const std::string& path);
// Writes one value; throws Failure with the library's reason.
void WriteParam(const std::string& path, const std::string& value);
// The stored parameters under `prefix`, by path; throws Failure.
std::map<std::string, std::string> StoredParams(const std::string& prefix);

}  // namespace dmctl

#endif  // DEVMGMT_TOOLS_DMCTL_CONFIGACCESS_H_
