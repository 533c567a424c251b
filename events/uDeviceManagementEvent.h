// The device-management event family (family number 413) and its twelve
// events.
//
// The type numbers 0-3 and 30-37 are wire values shared with the management
// client. Events are delivered to a uDeviceManagementEventHandler by double
// dispatch: BaseDispatch -> receiver's HandleBaseEv -> Dispatch -> the
// handler's overload for the concrete class.
#ifndef DEVMGMT_EVENTS_UDEVICEMANAGEMENTEVENT_H_
#define DEVMGMT_EVENTS_UDEVICEMANAGEMENTEVENT_H_

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>
#include <set>
#include <string>
#include <vector>

#include "events/DeviceManagementData.h"
#include "platform/uEvent.h"

class uDeviceManagementEventHandler;

constexpr int VM_EVENT_FAMILY_DEVICE_MANAGEMENT = 413;

class DM_EXPORT uDeviceManagementEvent : public uServiceEvent {
 public:
  uDeviceManagementEvent();
  ~uDeviceManagementEvent() override;

  const char* GetStr() const override;
  // Empty when the handler is gone; converts to a shared pointer to
  // uDeviceManagementEventHandler.
  uEventHandlerPtr GetSender() const override;
  uEventHandlerPtr GetReceiver() const override;
  // Hands the event to the receiver's HandleBaseEv; false when it is gone.
  bool BaseDispatch() override;
  int getEventFamilyType() const override;
  int getEventType() const override = 0;
  virtual void Dispatch(uDeviceManagementEventHandler& handler) = 0;

  void SetSender(const boost::shared_ptr<uDeviceManagementEventHandler>& sender);
  void SetReceiver(const boost::shared_ptr<uDeviceManagementEventHandler>& receiver);

 private:
  boost::weak_ptr<uDeviceManagementEventHandler> m_sender;
  boost::weak_ptr<uDeviceManagementEventHandler> m_receiver;
};

// Declares an event class; `direction_override` adds EventDirection() = 0.
#define DM_DECLARE_EVENT_HEAD(name)                           \
  class DM_EXPORT name : public uDeviceManagementEvent {      \
   public:                                                    \
    name();                                                   \
    ~name() override;                                         \
    const char* GetStr() const override;                      \
    int getEventType() const override;                        \
    void Dispatch(uDeviceManagementEventHandler& handler) override;

// The one event that keeps the inherited direction 2.
DM_DECLARE_EVENT_HEAD(GetLocalCertEv)
};

DM_DECLARE_EVENT_HEAD(SendIppStatusEv)
  int EventDirection() const override;
  ISerializable* getEventData() override;
  IppStatusData m_data;
};

// Carries its alerts inside one process only: they are not its payload.
DM_DECLARE_EVENT_HEAD(SendAlertEv)
  int EventDirection() const override;
  std::vector<AlertInfo> m_alerts;
};

DM_DECLARE_EVENT_HEAD(SendSyncConfigEv)
  int EventDirection() const override;
};

DM_DECLARE_EVENT_HEAD(ProvisioningEv)
  int EventDirection() const override;
  ISerializable* getEventData() override;
  ProvisioningData m_data;
};

// Its item set is owned here but neither sent nor read by the library.
DM_DECLARE_EVENT_HEAD(ProvSecurityEv)
  int EventDirection() const override;
  std::set<std::string> m_items;
};

DM_DECLARE_EVENT_HEAD(ProvDeviceCertEv)
  int EventDirection() const override;
};

DM_DECLARE_EVENT_HEAD(PrivateLabelingEv)
  int EventDirection() const override;
};

DM_DECLARE_EVENT_HEAD(UserConfirmationEv)
  int EventDirection() const override;
};

// Spelled so on purpose: the name is the event's identity for its peers.
DM_DECLARE_EVENT_HEAD(AndriodFWUpdateEv)
  int EventDirection() const override;
};

DM_DECLARE_EVENT_HEAD(LocalConfigurationEv)
  int EventDirection() const override;
  ISerializable* getEventData() override;
  LocalConfigurationData m_data;
};

DM_DECLARE_EVENT_HEAD(EmsFsFileChangeEv)
  int EventDirection() const override;
  ISerializable* getEventData() override;
  EmsFsFileChangeData m_data;
};

#undef DM_DECLARE_EVENT_HEAD

#endif  // DEVMGMT_EVENTS_UDEVICEMANAGEMENTEVENT_H_
