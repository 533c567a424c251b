// The root of every event exchanged between the device's processes.
//
// An event answers its family and type numbers (the first two words of its IPC
// message), a direction, its class name and an optional payload record. Events
// are always shared-owned, hence enable_shared_from_this. The sender, receiver
// and Dispatch operations have family-specific types, so each family base
// declares them; BaseDispatch is here because a framework delivers through it.
#ifndef DEVMGMT_PLATFORM_UEVENT_H_
#define DEVMGMT_PLATFORM_UEVENT_H_

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>
#include <cstddef>

#include "DmExport.h"
#include "ISerializable.h"

class uEventHandler;

// A shared pointer to the handler an event names. It converts to a shared
// pointer to the family's handler class, which is what the family stores.
class uEventHandlerPtr : public boost::shared_ptr<uEventHandler> {
 public:
  uEventHandlerPtr() = default;
  uEventHandlerPtr(const boost::shared_ptr<uEventHandler>& handler)  // NOLINT: converts on purpose
      : boost::shared_ptr<uEventHandler>(handler) {}
  template <typename Handler>
  operator boost::shared_ptr<Handler>() const {  // NOLINT: converts on purpose
    return boost::static_pointer_cast<Handler>(*this);
  }
};

class DM_EXPORT uEvent : public boost::enable_shared_from_this<uEvent> {
 public:
  uEvent();
  uEvent(const uEvent&) = delete;
  uEvent& operator=(const uEvent&) = delete;
  virtual ~uEvent();

  virtual const char* GetStr() const;
  // The handlers that sent the event and that it is addressed to; empty when
  // gone or never set.
  virtual uEventHandlerPtr GetSender() const;
  virtual uEventHandlerPtr GetReceiver() const;
  // Hands the event to its receiver; false when there is none.
  virtual bool BaseDispatch();
  virtual int getEventFamilyType() const = 0;
  virtual int getEventType() const = 0;
  // The payload record, or null for an event without one.
  virtual ISerializable* getEventData();
  // Raw payload for events that carry bytes instead of a record.
  virtual const void* GetDataBuffer();
  virtual unsigned int GetDataBufferSize();
  virtual int EventDirection() const;
};

class DM_EXPORT uServiceEvent : public uEvent {
 public:
  uServiceEvent();
  ~uServiceEvent() override;
  const char* GetStr() const override;
  // 2 unless a family says otherwise.
  int EventDirection() const override;
};

#endif  // DEVMGMT_PLATFORM_UEVENT_H_
