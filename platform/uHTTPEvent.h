// The events of the platform's HTTP request pipeline.
//
// Success responses are handled by modules (uHTTPModule); a plain handler
// gets them as responses. Device-management and sign-in handlers are modules of that pipeline, so
// their interface starts with the HTTP handler operations; the library itself
// sends none of these events.
#ifndef DEVMGMT_PLATFORM_UHTTPEVENT_H_
#define DEVMGMT_PLATFORM_UHTTPEVENT_H_

#include "uEvent.h"

class uHTTPHandler;

constexpr int VM_EVENT_FAMILY_HTTP = 100;

class DM_EXPORT uHTTPEvent : public uServiceEvent {
 public:
  ~uHTTPEvent() override;
  const char* GetStr() const override { return "uHTTPEvent"; }
  int getEventFamilyType() const override { return VM_EVENT_FAMILY_HTTP; }
  virtual void Dispatch(uHTTPHandler& handler) = 0;
};

#define DM_HTTP_EVENT(name, base, type)                               \
  class DM_EXPORT name : public base {                                \
   public:                                                            \
    ~name() override;                                                 \
    const char* GetStr() const override { return #name; }            \
    int getEventType() const override { return type; }               \
    void Dispatch(uHTTPHandler& handler) override;                    \
  }

DM_HTTP_EVENT(uHTTPRequestEv, uHTTPEvent, 0);
DM_HTTP_EVENT(uHTTPDownloadReqEv, uHTTPEvent, 1);
DM_HTTP_EVENT(uHTTPResponseEv, uHTTPEvent, 2);
DM_HTTP_EVENT(uHTTPRejectResponseEv, uHTTPResponseEv, 3);
DM_HTTP_EVENT(uHTTPSuccessResponseEv, uHTTPResponseEv, 4);
DM_HTTP_EVENT(uHTTPDownloadSuccessResponseEv, uHTTPSuccessResponseEv, 5);

#undef DM_HTTP_EVENT

#endif  // DEVMGMT_PLATFORM_UHTTPEVENT_H_
