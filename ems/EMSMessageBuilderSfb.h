// The device's concrete EMS message builder: the status fields of the report,
// the status texts and the user's function keys.
#ifndef DEVMGMT_EMS_EMSMESSAGEBUILDERSFB_H_
#define DEVMGMT_EMS_EMSMESSAGEBUILDERSFB_H_

#include <boost/shared_ptr.hpp>

#include "ems/EMSMessageBuilder.h"
#include "ems/devmgmt_ems.h"

class DM_EXPORT EMSMessageBuilderSfb : public EMSMessageBuilder {
 public:
  ~EMSMessageBuilderSfb() override;

  // The one shared instance, made on first use.
  static boost::shared_ptr<EMSMessageBuilderSfb> Instance();

  bool BuildStatusMsg(EmsIppStatusRequest* request) override;
  const char* EmsGetStatusStr(E_PHONE_STATE_TYPE state) override;
  void FillUserDataKeysConf(UserDataKeysConf* request) override;

  // The "ApplicationServer" text of a server type; "unknown" out of range.
  static const char* ApplicationServerName(int type);

 protected:
  EMSMessageBuilderSfb() = default;
};

#endif  // DEVMGMT_EMS_EMSMESSAGEBUILDERSFB_H_
