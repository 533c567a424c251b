#include "ems/EMSFsUtility.h"

#include <algorithm>
#include <cstring>

#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "platform/vmLog.h"

const std::string EMSFsUtility::MAC_STR = "{mac}";
const std::string EMSFsUtility::URL_PREFIX = "http";
const std::string EMSFsUtility::TMP_PUBLIC_DIR = "/data/Download/tmp/";

namespace {

// Space, tab, line feed, vertical tab, form feed, carriage return.
const char kBlank[] = " \t\n\v\f\r";

}  // namespace

void EMSFsUtility::GetFullUrl(std::string& url) {
  DM_LOG(VM_LOG_MODULE_EMS, LOG_DEBUG, "Remote url before editing: %s", url.c_str());
  if (url.compare(0, URL_PREFIX.size(), URL_PREFIX) != 0) {
    const char* configured = g76();
    const std::string base = configured ? configured : "";
    // An empty base does not end with '/'.
    if (!base.empty() && base.back() == '/' && !url.empty() && url.front() == '/') url.erase(0, 1);
    url.insert(0, base);
  }
  const size_t mac = url.find(MAC_STR);
  if (mac != std::string::npos) {
    char buffer[20];
    std::memset(buffer, 0, sizeof buffer);
    VM_Get_Eth_Str_Mac(buffer, sizeof buffer);
    buffer[sizeof buffer - 1] = '\0';
    url.replace(mac, MAC_STR.size(), buffer);
  }
  DM_LOG(VM_LOG_MODULE_EMS, LOG_DEBUG, "Full remote url: %s", url.c_str());
}

bool EMSFsUtility::GetFilePathAndUrl(const std::string line, unsigned start, unsigned end,
                                     std::string& filePath, std::string& url, bool& deleteAfterUpload) {
  // Positions past the text mean its end.
  const size_t stop = std::min<size_t>(end, line.size());
  const size_t from = std::min<size_t>(start, stop);
  const size_t pathEnd = std::min(line.find_first_of(kBlank, from), line.size());
  const size_t urlStart = std::min(line.find_first_not_of(kBlank, pathEnd), line.size());
  if (urlStart >= stop) {
    const std::string entry = line.substr(from, stop - from);
    DM_LOG(VM_LOG_MODULE_EMS, LOG_ERR, "No Remote Directory Url for file %s", entry.c_str());
    return false;
  }
  filePath = line.substr(from, pathEnd - from);
  const size_t urlEnd = std::min(stop, line.find_first_of(kBlank, urlStart));
  url = line.substr(urlStart, urlEnd - urlStart);
  GetFullUrl(url);
  const size_t flag = line.find_first_not_of(kBlank, urlEnd);
  if (flag != std::string::npos && flag < stop) deleteAfterUpload = line[flag] == '1';
  DM_LOG(VM_LOG_MODULE_EMS, LOG_DEBUG, "file path: %s, remote directory url: %s delete after upload: %d",
         filePath.c_str(), url.c_str(), deleteAfterUpload ? 1 : 0);
  return true;
}
