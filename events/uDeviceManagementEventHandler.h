// Visitors of device-management events, and the state-handler base.
//
// A handler is also a module of the platform's HTTP pipeline. Its operations
// keep a fixed order, shared with handlers built elsewhere: the platform's
// fourteen, HandleBaseEv, UnhandledEvent, then one HandleEvent per event class
// in the order below (not the order of the type numbers). Every HandleEvent
// falls back to UnhandledEvent.
#ifndef DEVMGMT_EVENTS_UDEVICEMANAGEMENTEVENTHANDLER_H_
#define DEVMGMT_EVENTS_UDEVICEMANAGEMENTEVENTHANDLER_H_

#include "events/uDeviceManagementEvent.h"
#include "platform/uHTTPHandler.h"

class DM_EXPORT uDeviceManagementEventHandler : public uHTTPModule {
 public:
  uDeviceManagementEventHandler();
  ~uDeviceManagementEventHandler() override;

  using uHTTPModule::HandleBaseEv;
  using uHTTPModule::HandleEvent;
  using uHTTPModule::UnhandledEvent;

  // Logs, then visits the event's own overload.
  virtual void HandleBaseEv(uDeviceManagementEvent& event);
  // Logs "Unhandled event".
  virtual void UnhandledEvent(uDeviceManagementEvent& event);
  virtual void HandleEvent(GetLocalCertEv& event);
  virtual void HandleEvent(SendIppStatusEv& event);
  virtual void HandleEvent(SendAlertEv& event);
  virtual void HandleEvent(SendSyncConfigEv& event);
  virtual void HandleEvent(ProvisioningEv& event);
  virtual void HandleEvent(ProvSecurityEv& event);
  virtual void HandleEvent(ProvDeviceCertEv& event);
  virtual void HandleEvent(PrivateLabelingEv& event);
  virtual void HandleEvent(UserConfirmationEv& event);
  virtual void HandleEvent(LocalConfigurationEv& event);
  virtual void HandleEvent(EmsFsFileChangeEv& event);
  virtual void HandleEvent(AndriodFWUpdateEv& event);
};

// A state of a state machine: what it does not handle goes on to the event's
// receiver (the owner of the states); with the receiver gone it is dropped.
class DM_EXPORT uDeviceManagementStateHandler : public uDeviceManagementEventHandler {
 public:
  uDeviceManagementStateHandler();
  ~uDeviceManagementStateHandler() override;

  using uDeviceManagementEventHandler::UnhandledEvent;
  void UnhandledEvent(uDeviceManagementEvent& event) override;
};

#endif  // DEVMGMT_EVENTS_UDEVICEMANAGEMENTEVENTHANDLER_H_
