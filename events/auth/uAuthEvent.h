// The sign-in event family (family number 264): a request for a URL and a
// code, its cancelling, and the three answers.
//
// The records are positional: their leaves carry no names of their own, so
// only the kind and order of the fields are the format. Requests travel in
// direction 0, responses in direction 1.
#ifndef DEVMGMT_EVENTS_AUTH_UAUTHEVENT_H_
#define DEVMGMT_EVENTS_AUTH_UAUTHEVENT_H_

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include "platform/IElementSerializable.h"
#include "platform/IIntegerElement.h"
#include "platform/IStringElement.h"
#include "platform/uEvent.h"

class uAuthHandler;

constexpr int VM_EVENT_FAMILY_AUTH = 264;

// Fields in order: integer, integer.
class DM_EXPORT AuthGetUrlAndCodeData : public IElementSerializable {
 public:
  AuthGetUrlAndCodeData();
  ~AuthGetUrlAndCodeData() override;
  const char* GetName() const override;
  IInteger m_integer1;
  IInteger m_integer2;
};

// Fields in order: integer, string, string, string.
class DM_EXPORT AuthGetUrlAndCodeResponseData : public IElementSerializable {
 public:
  AuthGetUrlAndCodeResponseData();
  ~AuthGetUrlAndCodeResponseData() override;
  const char* GetName() const override;
  IInteger m_integer1;
  IString m_string1;
  IString m_string2;
  IString m_string3;
};

// Fields in order: integer, integer, then seven strings. It may carry
// credentials: its values are never logged.
class DM_EXPORT AuthCredentialsResponseData : public IElementSerializable {
 public:
  static constexpr int kStrings = 7;
  AuthCredentialsResponseData();
  ~AuthCredentialsResponseData() override;
  const char* GetName() const override;
  IInteger m_integer1;
  IInteger m_integer2;
  IString m_strings[kStrings];
};

// Fields in order: integer, string, integer. Spelled so on purpose.
class DM_EXPORT RejectReponseData : public IElementSerializable {
 public:
  RejectReponseData();
  ~RejectReponseData() override;
  const char* GetName() const override;
  IInteger m_integer1;
  IString m_string1;
  IInteger m_integer2;
};

class DM_EXPORT uAuthEvent : public uServiceEvent {
 public:
  uAuthEvent();
  ~uAuthEvent() override;

  const char* GetStr() const override;
  uEventHandlerPtr GetSender() const override;
  uEventHandlerPtr GetReceiver() const override;
  bool BaseDispatch() override;
  int getEventFamilyType() const override;
  int getEventType() const override = 0;
  virtual void Dispatch(uAuthHandler& handler) = 0;

  void SetSender(const boost::shared_ptr<uAuthHandler>& sender);
  void SetReceiver(const boost::shared_ptr<uAuthHandler>& receiver);

 private:
  boost::weak_ptr<uAuthHandler> m_sender;
  boost::weak_ptr<uAuthHandler> m_receiver;
};

#define DM_DECLARE_AUTH_EVENT_HEAD(name)                   \
  class DM_EXPORT name : public uAuthEvent {               \
   public:                                                 \
    name();                                                \
    ~name() override;                                      \
    const char* GetStr() const override;                   \
    int getEventType() const override;                     \
    int EventDirection() const override;                   \
    void Dispatch(uAuthHandler& handler) override;

DM_DECLARE_AUTH_EVENT_HEAD(AuthGetUrlAndCodeEv)
  ISerializable* getEventData() override;
  AuthGetUrlAndCodeData m_data;
};

DM_DECLARE_AUTH_EVENT_HEAD(AuthCancelUrlAndCodeEv)
};

DM_DECLARE_AUTH_EVENT_HEAD(AuthGetUrlAndCodeResponseEv)
  ISerializable* getEventData() override;
  AuthGetUrlAndCodeResponseData m_data;
};

DM_DECLARE_AUTH_EVENT_HEAD(AuthCredentialsResponseEv)
  ISerializable* getEventData() override;
  AuthCredentialsResponseData m_data;
};

DM_DECLARE_AUTH_EVENT_HEAD(AuthRejectResponseEv)
  ISerializable* getEventData() override;
  RejectReponseData m_data;
};

#undef DM_DECLARE_AUTH_EVENT_HEAD

#endif  // DEVMGMT_EVENTS_AUTH_UAUTHEVENT_H_
