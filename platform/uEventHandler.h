// The root of the handlers that events are delivered to.
//
// Handlers are shared-owned and referred to weakly by events; LogHandleEvent
// is the one place that records a handler receiving an event.
#ifndef DEVMGMT_PLATFORM_UEVENTHANDLER_H_
#define DEVMGMT_PLATFORM_UEVENTHANDLER_H_

#include <boost/enable_shared_from_this.hpp>

#include "DmExport.h"

class uEvent;

class DM_EXPORT uEventHandler : public boost::enable_shared_from_this<uEventHandler> {
 public:
  uEventHandler();
  uEventHandler(const uEventHandler&) = delete;
  uEventHandler& operator=(const uEventHandler&) = delete;
  virtual ~uEventHandler();

  virtual const char* GetName() const;
  // Indentation of this handler's log lines (deeper modules indent more).
  virtual const char* GetLogPad() const;

  // Logs at debug level that this handler got `event`, with an optional note.
  void LogHandleEvent(uEvent& event, const char* note = nullptr);
};

#endif  // DEVMGMT_PLATFORM_UEVENTHANDLER_H_
