// The interface of everything that wants to hear of alarms and events.
//
// Observers register with AlertManager (RegisterToAlert / RegisterToEvent)
// under a name and source filter ("ALL" matches anything) and are called
// synchronously on the thread that delivers configuration changes. Their
// creators own them; the manager keeps raw pointers and never unregisters.
#ifndef DEVMGMT_ALERTS_ALERTOBSERVER_H_
#define DEVMGMT_ALERTS_ALERTOBSERVER_H_

#include "alerts/SystemAlert.h"
#include "platform/DmExport.h"

class DM_EXPORT AlertObserver {
 public:
  // An alarm was raised, changed or cleared (severity 0).
  virtual void AlertCallback(SystemAlert* alert);
  // An event was added.
  virtual void EventCallback(SystemAlert* event);
  virtual ~AlertObserver();
};

#endif  // DEVMGMT_ALERTS_ALERTOBSERVER_H_
