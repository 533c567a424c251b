// dmctl send / listen: management and sign-in events over the IPC queues.
#include <openssl/crypto.h>

#include <string>

#include "events/SingletonHolder.h"
#include "events/auth/uAuthEventFactory.h"
#include "events/uDeviceManagementAgent.h"
#include "events/uDeviceManagementEventFactory.h"
#include "platform/uIPCReceiver.h"
#include "platform/uIPCSender.h"
#include "platform/uJson.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"
#include "tools/dmctl/StopRule.h"

namespace dmctl {
namespace {

constexpr int kDeviceManagementFamily = 413;
constexpr int kAuthFamily = 264;

// The payload record as JSON, or "" for an event without one.
std::string PayloadJson(uEvent& event) {
  ISerializable* data = event.getEventData();
  std::string text;
  if (data != nullptr && uJson::Serializer::Serialize(*data, text) != 0) text.clear();
  return text;
}

// The event a message carries, rebuilt by its family's factory.
boost::shared_ptr<uEvent> Rebuild(const message_extra_t& message, unsigned length) {
  if (message.family == kDeviceManagementFamily) {
    return uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(message, length);
  }
  if (message.family == kAuthFamily) {
    return uAuthEventFactory::GetInstance()->CreateEventFromMessage(message, length);
  }
  return boost::shared_ptr<uEvent>();
}

void Send(uEvent& event, vm_mq_id queue) {
  ForgetLibraryLog();
  if (SingletonHolder<uIPCSender, uIPCSender>::Instance()->SendEvent(event, queue) != 0) {
    throw Failure(Because("cannot send to queue " + std::to_string(queue) + " (is anything listening?)"));
  }
}

}  // namespace

void AddEventCommands(CLI::App& app, Context& context) {
  CLI::App* send = app.add_subcommand("send", "Send a device-management message");
  send->require_subcommand(1);
  static int queue = VM_MQ_ID_EMSC;
  send->add_option("--queue", queue, "Queue id (default 15, the management client)")->capture_default_str();

  static int status = 0;
  CLI::App* ipp = send->add_subcommand("ipp-status", "Send a SendIppStatusEv holding a status value");
  ipp->add_option("status", status, "Status value")->required();
  ipp->callback([] {
    SendIppStatusEv event;
    event.m_data.m_status.SetValue(status);
    Send(event, queue);
  });

  static int type = 0;
  static std::string hex;
  CLI::App* raw = send->add_subcommand(
      "raw", "Send family 413, TYPE and a payload given in hex (a payload whose first byte is zero is left out)");
  raw->add_option("type", type, "Event type number")->required();
  raw->add_option("hex", hex, "Payload bytes in hex, e.g. 0a1b or 0a:1b");
  raw->callback([] {
    message_extra_t message{};
    message.family = kDeviceManagementFamily;
    message.eventType = type;
    unsigned length = VM_MSG_HEADER_SIZE;
    if (!hex.empty()) {
      long size = 0;
      unsigned char* bytes = OPENSSL_hexstr2buf(hex.c_str(), &size);
      if (bytes == nullptr) throw UsageError("payload is not hex: " + hex);
      const bool fits = size <= static_cast<long>(VM_MSG_PAYLOAD_SIZE);
      if (fits && bytes[0] != 0) {
        std::copy(bytes, bytes + size, message.data);
        length += static_cast<unsigned>(size);
      }
      OPENSSL_free(bytes);
      if (!fits) throw UsageError("payload longer than " + std::to_string(VM_MSG_PAYLOAD_SIZE) + " bytes");
    }
    ForgetLibraryLog();
    if (SingletonHolder<uIPCSender, uIPCSender>::Instance()->SendMessage(message, length, queue) != 0) {
      throw Failure(Because("cannot send to queue " + std::to_string(queue) + " (is anything listening?)"));
    }
  });

  static int listen_queue = VM_MQ_ID_EMSC;
  static StopRule stop("message");
  CLI::App* listen = app.add_subcommand(
      "listen", "Print every event arriving on a queue (both families) until interrupted");
  listen->add_option("queue", listen_queue, "Queue id (default 15)")->capture_default_str();
  stop.AddOptions(listen);
  listen->callback([&context] {
    ForgetLibraryLog();
    uIPCReceiver receiver(listen_queue);
    if (!receiver.IsOpen()) throw Failure(Because("cannot open queue " + std::to_string(listen_queue)));
    Table events({"queue", "family", "type", "event", "bytes", "payload"});
    // On stderr, so that stdout carries only events (JSON lines with --json).
    std::fprintf(stderr, "listening on %s (Ctrl-C to stop)\n", receiver.Name().c_str());
    message_extra_t message;
    stop.Start();
    while (stop.KeepGoing()) {
      // Short waits, so that an interrupt or the idle limit is noticed soon.
      const int length = receiver.Receive(message, 200);
      if (length < 0) continue;
      stop.Arrived();
      boost::shared_ptr<uEvent> event = Rebuild(message, static_cast<unsigned>(length));
      // An event that is not rebuilt has a null name and payload.
      events.AddRow({listen_queue, message.family, message.eventType, event ? Cell(event->GetStr()) : Cell(),
                     length, event ? Cell::Document(PayloadJson(*event)) : Cell()});
      if (context.json) {
        events.PrintRowAsJsonLine(events.size() - 1);
      } else {
        const std::string payload = event ? PayloadJson(*event) : "";
        std::printf("family %d type %d %s (%d bytes)%s%s\n", message.family, message.eventType,
                    event ? event->GetStr() : "(not rebuilt)", length, payload.empty() ? "" : " ",
                    payload.c_str());
        std::fflush(stdout);
      }
    }
  });
}

}  // namespace dmctl
