// Handlers of the HTTP pipeline: uHTTPHandler visits HTTP events, uHTTPModule
// is one link of a chain of modules that pass requests on and responses back.
//
// The virtual operations are declared in a fixed order (the vtable layout is
// shared with handlers built elsewhere): uEventHandler's GetName and
// GetLogPad, then uHTTPHandler's six, then uHTTPModule's four.
#ifndef DEVMGMT_PLATFORM_UHTTPHANDLER_H_
#define DEVMGMT_PLATFORM_UHTTPHANDLER_H_

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include "uEventHandler.h"
#include "uHTTPEvent.h"

class DM_EXPORT uHTTPHandler : public uEventHandler {
 public:
  uHTTPHandler();
  ~uHTTPHandler() override;

  const char* GetName() const override;
  // Logs, then visits the event's own overload.
  virtual void HandleBaseEv(uHTTPEvent& event);
  // Logs "Unhandled event".
  virtual void UnhandledEvent(uHTTPEvent& event);
  virtual void HandleEvent(uHTTPRequestEv& event);
  virtual void HandleEvent(uHTTPDownloadReqEv& event);
  virtual void HandleEvent(uHTTPResponseEv& event);
  virtual void HandleEvent(uHTTPRejectResponseEv& event);
};

class DM_EXPORT uHTTPModule : public uHTTPHandler {
 public:
  uHTTPModule();
  ~uHTTPModule() override;

  using uHTTPHandler::HandleEvent;
  // Passes the response back to the previous module.
  virtual void HandleEvent(uHTTPSuccessResponseEv& event);
  // A finished download is a success response.
  virtual void HandleEvent(uHTTPDownloadSuccessResponseEv& event);
  // Makes (once) the next module of the chain with NextModuleAllocator and
  // links it back to this one; empty at the end of the chain. This module
  // must be shared-owned.
  virtual boost::shared_ptr<uHTTPModule> AllocateNextModule();
  // What the next module is; none by default.
  virtual boost::shared_ptr<uHTTPModule> NextModuleAllocator();

  // Delivers `event` to the previous module's overload for it; false when
  // there is no previous module any more. With `release` the previous module
  // drops its link to this one afterwards (the exchange is over).
  bool SendResponseToPreviousModule(uHTTPEvent& event, bool release);

  boost::shared_ptr<uHTTPModule> GetNextModule() const { return m_next; }
  boost::shared_ptr<uHTTPModule> GetPreviousModule() const { return m_previous.lock(); }

 private:
  boost::shared_ptr<uHTTPModule> m_next;
  boost::weak_ptr<uHTTPModule> m_previous;
};

#endif  // DEVMGMT_PLATFORM_UHTTPHANDLER_H_
