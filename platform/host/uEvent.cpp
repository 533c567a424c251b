#include "platform/uEvent.h"

#include "platform/uEventHandler.h"
#include "platform/uHTTPHandler.h"
#include "platform/vmLog.h"

uEvent::uEvent() = default;
uEvent::~uEvent() = default;
const char* uEvent::GetStr() const { return "uEvent"; }
uEventHandlerPtr uEvent::GetSender() const { return uEventHandlerPtr(); }
uEventHandlerPtr uEvent::GetReceiver() const { return uEventHandlerPtr(); }
bool uEvent::BaseDispatch() { return false; }
ISerializable* uEvent::getEventData() { return nullptr; }
const void* uEvent::GetDataBuffer() { return nullptr; }
unsigned int uEvent::GetDataBufferSize() { return 0; }
int uEvent::EventDirection() const { return 0; }

uServiceEvent::uServiceEvent() = default;
uServiceEvent::~uServiceEvent() = default;
const char* uServiceEvent::GetStr() const { return "uServiceEvent"; }
int uServiceEvent::EventDirection() const { return 2; }

uEventHandler::uEventHandler() = default;
uEventHandler::~uEventHandler() = default;
const char* uEventHandler::GetName() const { return "uEventHandler"; }
const char* uEventHandler::GetLogPad() const { return ""; }

void uEventHandler::LogHandleEvent(uEvent& event, const char* note) {
  const bool noted = note != nullptr && note[0] != '\0';
  DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_DEBUG, "%s%s handles %s%s%s", GetLogPad(), GetName(),
         event.GetStr(), noted ? ": " : "", noted ? note : "");
}

uHTTPEvent::~uHTTPEvent() = default;

#define DM_HTTP_EVENT_BODY(name)  \
  name::~name() = default;        \
  void name::Dispatch(uHTTPHandler& handler) { handler.HandleEvent(*this); }

DM_HTTP_EVENT_BODY(uHTTPRequestEv)
DM_HTTP_EVENT_BODY(uHTTPDownloadReqEv)
DM_HTTP_EVENT_BODY(uHTTPResponseEv)
DM_HTTP_EVENT_BODY(uHTTPRejectResponseEv)

#define DM_HTTP_MODULE_EVENT_BODY(name)                                        \
  name::~name() = default;                                                     \
  void name::Dispatch(uHTTPHandler& handler) {                                 \
    if (auto* module = dynamic_cast<uHTTPModule*>(&handler)) {                 \
      module->HandleEvent(*this);                                              \
    } else {                                                                   \
      handler.HandleEvent(static_cast<uHTTPResponseEv&>(*this));               \
    }                                                                          \
  }

DM_HTTP_MODULE_EVENT_BODY(uHTTPSuccessResponseEv)
DM_HTTP_MODULE_EVENT_BODY(uHTTPDownloadSuccessResponseEv)

uHTTPHandler::uHTTPHandler() = default;
uHTTPHandler::~uHTTPHandler() = default;
const char* uHTTPHandler::GetName() const { return "uHTTPHandler"; }

void uHTTPHandler::HandleBaseEv(uHTTPEvent& event) {
  LogHandleEvent(event);
  event.Dispatch(*this);
}

void uHTTPHandler::UnhandledEvent(uHTTPEvent& event) { LogHandleEvent(event, "Unhandled event"); }
void uHTTPHandler::HandleEvent(uHTTPRequestEv& event) { UnhandledEvent(event); }
void uHTTPHandler::HandleEvent(uHTTPDownloadReqEv& event) { UnhandledEvent(event); }
void uHTTPHandler::HandleEvent(uHTTPResponseEv& event) { UnhandledEvent(event); }
void uHTTPHandler::HandleEvent(uHTTPRejectResponseEv& event) { UnhandledEvent(event); }

uHTTPModule::uHTTPModule() = default;
uHTTPModule::~uHTTPModule() = default;

void uHTTPModule::HandleEvent(uHTTPSuccessResponseEv& event) {
  SendResponseToPreviousModule(event, false);
}

void uHTTPModule::HandleEvent(uHTTPDownloadSuccessResponseEv& event) {
  HandleEvent(static_cast<uHTTPSuccessResponseEv&>(event));
}

boost::shared_ptr<uHTTPModule> uHTTPModule::AllocateNextModule() {
  if (m_next) return m_next;
  boost::shared_ptr<uHTTPModule> self =
      boost::dynamic_pointer_cast<uHTTPModule>(weak_from_this().lock());
  if (!self) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "%s is not shared-owned, no next module", GetName());
    return m_next;
  }
  m_next = NextModuleAllocator();
  if (m_next) m_next->m_previous = self;
  return m_next;
}

boost::shared_ptr<uHTTPModule> uHTTPModule::NextModuleAllocator() {
  return boost::shared_ptr<uHTTPModule>();
}

bool uHTTPModule::SendResponseToPreviousModule(uHTTPEvent& event, bool release) {
  boost::shared_ptr<uHTTPModule> previous = m_previous.lock();
  if (!previous) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_WARNING, "%s has no previous module for %s", GetName(),
           event.GetStr());
    return false;
  }
  event.Dispatch(*previous);
  // Releasing may destroy this module: touch nothing of it afterwards.
  if (release && previous->m_next.get() == this) previous->m_next.reset();
  return true;
}
