// Fills the EMS request records from the configuration database and the
// platform's device queries.
//
// One builder serves the process, reached through
// SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>::Instance() once
// InitEMSMessageBuilderBaseInstance() has installed the concrete builder;
// asking before that stops the process (a programming error). The base class
// fills what every request carries and the extra parameters chosen by the
// configured path list; the concrete builder fills the status fields.
#ifndef DEVMGMT_EMS_EMSMESSAGEBUILDER_H_
#define DEVMGMT_EMS_EMSMESSAGEBUILDER_H_

#include <cstddef>
#include <string>

#include "ems/EmsRequests.h"
#include "events/SingletonHolder.h"
#include "platform/DmExport.h"

// The phone state a status report speaks for (see EmsGetStatusStr).
enum E_PHONE_STATE_TYPE {
  PHONE_STATE_STARTED = 0,     // first report after start-up
  PHONE_STATE_PERIODIC = 1,    // a routine report: the state is read from configuration
  PHONE_STATE_RESTARTING = 2,
  PHONE_STATE_UPGRADING = 3,
};

class DM_EXPORT EMSMessageBuilder {
 public:
  virtual ~EMSMessageBuilder();

  // Session identifier, credentials and authorization hash (when configured),
  // MAC, IP address and network mask.
  virtual void BuildStatusBaseMsg(EmsRequestBase* request);
  // The status fields and the additional parameters; true.
  virtual bool BuildStatusMsg(EmsIppStatusRequest* request) = 0;
  // The "status" text for a phone state.
  virtual const char* EmsGetStatusStr(E_PHONE_STATE_TYPE state) = 0;
  // One "UD_<path>" member per stored function-key setting.
  virtual void FillUserDataKeysConf(UserDataKeysConf* request) = 0;

  std::string GetMac();
  std::string GetIPAddress();
  std::string GetNetMask();

  // "BToEpairingstatus" and "BToEversion" from the pairing configuration.
  void SetBToEParams(EmsIppStatusRequest* request);
  // Adds the parameters named by the configured comma-separated path list to
  // "additionalParams". Leading blanks, slashes and commas of each item are
  // skipped (trailing blanks are kept); the first '*' of an item is a
  // wildcard, any later one is matched literally.
  void InsertDmReportPeriodicParams(EmsIppStatusRequest* request);
  // Reads `path` into buf (size bytes) and, only when that succeeds, adds
  // the pair to "additionalParams".
  void AddParamToMsg(const char* path, char* buf, unsigned size, EmsIppStatusRequest* request);
  // Adds every stored parameter that starts with the text before the '*' at
  // starPos and holds the text after it at or after starPos.
  void AddParamWithWildCard(std::string& path, unsigned starPos, char* buf, unsigned size,
                            EmsIppStatusRequest* request);
  // The text from `from` up to `to` (to the end when `to` is npos or past it).
  std::string GetParamPath(const std::string& paths, unsigned from, unsigned to);
  // The position of the first '*', or npos.
  size_t ContainWildCard(std::string& path);

 protected:
  EMSMessageBuilder() = default;
};

// One definition, in the library, shared by every user of the builder.
extern template class SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>;

#endif  // DEVMGMT_EMS_EMSMESSAGEBUILDER_H_
