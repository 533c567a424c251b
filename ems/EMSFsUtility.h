// Remote URLs of the files the device uploads to the EMS.
//
// An upload entry is one line: a local file path, blank space, the remote
// directory URL, and optionally blank space and a delete-after-upload flag
// ('1' deletes). A URL that does not start with "http" is relative to the
// configured upload base URL; its first "{mac}" becomes the device's MAC.
#ifndef DEVMGMT_EMS_EMSFSUTILITY_H_
#define DEVMGMT_EMS_EMSFSUTILITY_H_

#include <string>

#include "platform/DmExport.h"

class DM_EXPORT EMSFsUtility {
 public:
  static const std::string MAC_STR;         // "{mac}"
  static const std::string URL_PREFIX;      // "http": a URL starting with it is absolute
  static const std::string TMP_PUBLIC_DIR;  // where files wait on their way to the EMS

  // Completes `url` in place: base URL in front of a relative one (one '/'
  // at the join when both sides have one; none added), then the first
  // "{mac}" replaced by the MAC address.
  static void GetFullUrl(std::string& url);

  // Parses the entry in line[start, end). True when a URL was found; then
  // filePath and url are set and deleteAfterUpload only when a flag is
  // present. False (outputs untouched, an error logged) when there is no URL.
  static bool GetFilePathAndUrl(const std::string line, unsigned start, unsigned end,
                                std::string& filePath, std::string& url, bool& deleteAfterUpload);

  EMSFsUtility() = delete;
};

#endif  // DEVMGMT_EMS_EMSFSUTILITY_H_
