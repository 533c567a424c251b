// The record of one alarm or event, as a table slot holds it.
//
// Alarms and events share it field for field; only the table that stores a
// record tells them apart. An empty name marks a free slot, severity 0 a
// cleared alarm.
#ifndef DEVMGMT_ALERTS_SYSTEMALERT_H_
#define DEVMGMT_ALERTS_SYSTEMALERT_H_

#include <cstdint>
#include <string>

#include "platform/DmExport.h"

class DM_EXPORT SystemAlert {
 public:
  SystemAlert();
  SystemAlert(const SystemAlert& other);
  SystemAlert& operator=(const SystemAlert& other);
  ~SystemAlert();

  // Local time of the last set or clear, "%Y-%m-%dT%H:%M:%S". Exported as
  // callers link it; the const form serves records held const.
  std::string GetTimeStr();
  std::string GetTimeStr() const;

  std::string m_name;
  std::string m_description;  // may hold placeholders [AI1], [AI2], ...
  std::string m_sourceComponent;
  std::string m_additionalInfo1;  // comma-separated placeholder values
  std::string m_additionalInfo2;  // a card as JSON, or empty
  std::string m_category;
  int32_t m_severity = 0;
  int32_t m_type = 0;
  int32_t m_probableCause = 0;
  int32_t m_uiNotification = 0;  // vmTCfgTypeStatusAlarmUiNotification
  int32_t m_confirmationReceived = 0;
  std::string m_time;
};

#endif  // DEVMGMT_ALERTS_SYSTEMALERT_H_
