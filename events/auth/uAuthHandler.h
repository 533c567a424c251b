// Visitors of sign-in events, and the state-handler base.
//
// Operations in fixed order: the platform's fourteen, HandleBaseEv,
// UnhandledEvent, then one HandleEvent per event in type order. Every
// HandleEvent falls back to UnhandledEvent.
#ifndef DEVMGMT_EVENTS_AUTH_UAUTHHANDLER_H_
#define DEVMGMT_EVENTS_AUTH_UAUTHHANDLER_H_

#include "events/auth/uAuthEvent.h"
#include "platform/uHTTPHandler.h"

class DM_EXPORT uAuthHandler : public uHTTPModule {
 public:
  uAuthHandler();
  ~uAuthHandler() override;

  using uHTTPModule::HandleBaseEv;
  using uHTTPModule::HandleEvent;
  using uHTTPModule::UnhandledEvent;

  virtual void HandleBaseEv(uAuthEvent& event);
  virtual void UnhandledEvent(uAuthEvent& event);
  virtual void HandleEvent(AuthGetUrlAndCodeEv& event);
  virtual void HandleEvent(AuthCancelUrlAndCodeEv& event);
  virtual void HandleEvent(AuthGetUrlAndCodeResponseEv& event);
  virtual void HandleEvent(AuthCredentialsResponseEv& event);
  virtual void HandleEvent(AuthRejectResponseEv& event);
};

// Unhandled events go on to the event's receiver, or are dropped when it is
// gone.
class DM_EXPORT uAuthStateHandler : public uAuthHandler {
 public:
  uAuthStateHandler();
  ~uAuthStateHandler() override;

  using uAuthHandler::UnhandledEvent;
  void UnhandledEvent(uAuthEvent& event) override;
};

#endif  // DEVMGMT_EVENTS_AUTH_UAUTHHANDLER_H_
