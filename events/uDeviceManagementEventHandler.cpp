#include "events/uDeviceManagementEventHandler.h"

uDeviceManagementEventHandler::uDeviceManagementEventHandler() = default;
uDeviceManagementEventHandler::~uDeviceManagementEventHandler() = default;

void uDeviceManagementEventHandler::HandleBaseEv(uDeviceManagementEvent& event) {
  LogHandleEvent(event);
  event.Dispatch(*this);
}

void uDeviceManagementEventHandler::UnhandledEvent(uDeviceManagementEvent& event) {
  LogHandleEvent(event, "Unhandled event");
}

void uDeviceManagementEventHandler::HandleEvent(GetLocalCertEv& event) { UnhandledEvent(event); }
void uDeviceManagementEventHandler::HandleEvent(SendIppStatusEv& event) { UnhandledEvent(event); }
void uDeviceManagementEventHandler::HandleEvent(SendAlertEv& event) { UnhandledEvent(event); }
void uDeviceManagementEventHandler::HandleEvent(SendSyncConfigEv& event) { UnhandledEvent(event); }
void uDeviceManagementEventHandler::HandleEvent(ProvisioningEv& event) { UnhandledEvent(event); }
void uDeviceManagementEventHandler::HandleEvent(ProvSecurityEv& event) { UnhandledEvent(event); }
void uDeviceManagementEventHandler::HandleEvent(ProvDeviceCertEv& event) { UnhandledEvent(event); }
void uDeviceManagementEventHandler::HandleEvent(PrivateLabelingEv& event) { UnhandledEvent(event); }
void uDeviceManagementEventHandler::HandleEvent(UserConfirmationEv& event) {
  UnhandledEvent(event);
}
void uDeviceManagementEventHandler::HandleEvent(LocalConfigurationEv& event) {
  UnhandledEvent(event);
}
void uDeviceManagementEventHandler::HandleEvent(EmsFsFileChangeEv& event) {
  UnhandledEvent(event);
}
void uDeviceManagementEventHandler::HandleEvent(AndriodFWUpdateEv& event) {
  UnhandledEvent(event);
}

uDeviceManagementStateHandler::uDeviceManagementStateHandler() = default;
uDeviceManagementStateHandler::~uDeviceManagementStateHandler() = default;

void uDeviceManagementStateHandler::UnhandledEvent(uDeviceManagementEvent& event) {
  boost::shared_ptr<uDeviceManagementEventHandler> receiver = event.GetReceiver();
  if (!receiver) return;
  // A state addressed directly would hand the event to itself for ever.
  if (receiver.get() == this) {
    uDeviceManagementEventHandler::UnhandledEvent(event);
    return;
  }
  event.Dispatch(*receiver);
}
