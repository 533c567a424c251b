#include "events/auth/uAuthHandler.h"

uAuthHandler::uAuthHandler() = default;
uAuthHandler::~uAuthHandler() = default;

void uAuthHandler::HandleBaseEv(uAuthEvent& event) {
  LogHandleEvent(event);
  event.Dispatch(*this);
}

void uAuthHandler::UnhandledEvent(uAuthEvent& event) { LogHandleEvent(event, "Unhandled event"); }
void uAuthHandler::HandleEvent(AuthGetUrlAndCodeEv& event) { UnhandledEvent(event); }
void uAuthHandler::HandleEvent(AuthCancelUrlAndCodeEv& event) { UnhandledEvent(event); }
void uAuthHandler::HandleEvent(AuthGetUrlAndCodeResponseEv& event) { UnhandledEvent(event); }
void uAuthHandler::HandleEvent(AuthCredentialsResponseEv& event) { UnhandledEvent(event); }
void uAuthHandler::HandleEvent(AuthRejectResponseEv& event) { UnhandledEvent(event); }

uAuthStateHandler::uAuthStateHandler() = default;
uAuthStateHandler::~uAuthStateHandler() = default;

void uAuthStateHandler::UnhandledEvent(uAuthEvent& event) {
  boost::shared_ptr<uAuthHandler> receiver = event.GetReceiver();
  if (!receiver) return;
  // A state addressed directly would hand the event to itself for ever.
  if (receiver.get() == this) {
    uAuthHandler::UnhandledEvent(event);
    return;
  }
  event.Dispatch(*receiver);
}
