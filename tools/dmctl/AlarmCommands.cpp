// dmctl alarm / event / alarms / events / watch: the alarm and event tables
// and the cards that they turn into.

#include <string>

#include <rapidjson/document.h>

#include "alerts/AlertManager.h"
#include "alerts/AlertObserver.h"
#include "alerts/AlertReporter.h"
#include "alerts/AlertUINotifier.h"
#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"
#include "tools/dmctl/Cli.h"
#include "tools/dmctl/Output.h"
#include "tools/dmctl/StopRule.h"

namespace dmctl {
namespace {

// The fields of one table slot, read through the numbered accessors so that
// listing never rebuilds (and so never resets) anybody's tables.
struct SlotReaders {
  const char* (*name)(int);
  const char* (*source)(int);
  int (*severity)(int);
  int (*ui)(int);
  int (*confirmed)(int);
  const char* (*time)(int);
  const char* (*category)(int);
  const char* (*description)(int);
  const char* (*info1)(int);
};
const SlotReaders kAlarmSlots = {g676, g679, g678, g682, g675, g680, g673, g674, g671};
const SlotReaders kEventSlots = {g808, g811, g810, g814, g807, g812, g805, g806, g803};

std::string Text(const char* value) { return value ? value : ""; }

// The names the database stores, from the schema.
std::string UiName(int value) {
  static const vmCfgParam* const param = vmCfgFindParameterByPath("status/alarm/0/ui_notification");
  const char* name = vmCfgEnumToStr(param, value);
  return name != nullptr ? name : std::to_string(value);
}

// A slot with a name but no source (or the reverse) was cut while being
// written, by a platform without write batches or an older version: the
// library ignores it, the listing shows it, and `alarm delete NAME ""` frees
// it.
void PrintTable(const SlotReaders& slots, bool json) {
  Table table({"slot", "name", "source", "severity", "ui", "confirmed", "time", "category", "description", "state"});
  for (int slot = 0; slot < AlertManager::kSlots; ++slot) {
    const std::string name = Text(slots.name(slot));
    const std::string source = Text(slots.source(slot));
    if (name.empty() && source.empty()) continue;
    table.AddRow({slot, name, source, slots.severity(slot), UiName(slots.ui(slot)), slots.confirmed(slot) != 0,
                  Text(slots.time(slot)), Text(slots.category(slot)),
                  AlertManager::BuildAlertDescription(Text(slots.description(slot)), Text(slots.info1(slot))),
                  name.empty() || source.empty() ? "half-written" : "whole"});
  }
  table.Print(json);
}

struct RaiseOptions {
  std::string name;
  std::string source;
  int severity = 3;
  std::string description;
  std::string info1;
  std::string card;
  std::string category;
  int type = 0;
  int cause = 0;
  int ui = VM_UI_NOTIFICATION_DEVICE;
};

void AddRaiseOptions(CLI::App* command, RaiseOptions& options) {
  command->add_option("name", options.name, "Name (with the source, its identity)")->required();
  command->add_option("source", options.source, "Reporting component")->required();
  command->add_option("--severity", options.severity, "Severity; 0 means cleared")->capture_default_str();
  command->add_option("--description", options.description, "Text; [AI1], [AI2], ... take --info1's values");
  command->add_option("--info1", options.info1, "Comma-separated values for the description's placeholders");
  command->add_option("--card", options.card, "A ready-made card (JSON) to show instead of the built one");
  command->add_option("--category", options.category, "Free text");
  command->add_option("--type", options.type, "Opaque type number");
  command->add_option("--cause", options.cause, "Opaque probable-cause number");
  command->add_option("--ui", options.ui,
                      "0 (disabled) no card, 2 (device), 3 (remote) console, 4 (device_and_remote) both")
      ->capture_default_str()
      ->check(CLI::Range(0, 4));
}

const char* OrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

// A card given on the command line must be a JSON object: the device shows
// nothing for anything else.
void CheckCard(const std::string& card) {
  if (card.empty()) return;
  rapidjson::Document document;
  document.Parse(card.c_str(), card.size());
  if (document.HasParseError() || !document.IsObject()) throw UsageError("--card is not a JSON object: " + card);
}

// Prints every alarm and event the observers are handed.
class Printer : public AlertObserver {
 public:
  explicit Printer(bool json) : m_json(json) {}
  void AlertCallback(SystemAlert* alert) override { Print("alarm", *alert); }
  void EventCallback(SystemAlert* event) override { Print("event", *event); }
  int printed = 0;

 private:
  void Print(const char* kind, const SystemAlert& record) {
    ++printed;
    const std::string description =
        AlertManager::BuildAlertDescription(record.m_description, record.m_additionalInfo1);
    Table line({"kind", "name", "source", "severity", "ui", "time", "description"});
    line.AddRow({kind, record.m_name, record.m_sourceComponent, record.m_severity, UiName(record.m_uiNotification),
                 record.GetTimeStr(), description});
    if (m_json) {
      line.PrintRowAsJsonLine(0);
    } else {
      std::printf("%s %s/%s severity %d ui %s at %s: %s\n", kind, record.m_name.c_str(),
                  record.m_sourceComponent.c_str(), record.m_severity, UiName(record.m_uiNotification).c_str(),
                  record.GetTimeStr().c_str(), description.c_str());
      std::fflush(stdout);
    }
  }
  bool m_json;
};

Printer* g_printer = nullptr;
bool g_json = false;

// Cards are values of the two card keys: print each as it is written.
int PrintCards(char** paths, int count) {
  for (int i = 0; i < count; ++i) {
    std::string card(4096, '\0');
    if (vmCfgGetParam(paths[i], &card[0], static_cast<unsigned>(card.size())) != VM_CFG_OK) continue;
    card.resize(std::char_traits<char>::length(card.c_str()));
    ++g_printer->printed;
    Table line({"kind", "key", "card"});
    line.AddRow({"card", paths[i], Cell::Document(card)});
    if (g_json) {
      line.PrintRowAsJsonLine(0);
    } else {
      std::printf("card %s %s\n", paths[i], card.c_str());
      std::fflush(stdout);
    }
  }
  return 0;
}

}  // namespace

void AddAlarmCommands(CLI::App& app, Context& context) {
  CLI::App* alarm = app.add_subcommand("alarm", "Raise, clear, delete and acknowledge alarms");
  alarm->require_subcommand(1);
  static RaiseOptions raise_options;
  CLI::App* raise = alarm->add_subcommand("raise", "Raise an alarm, or update the one of that name and source");
  AddRaiseOptions(raise, raise_options);
  raise->callback([] {
    const RaiseOptions& o = raise_options;
    CheckCard(o.card);
    ForgetLibraryLog();
    if (AlertManager_SetAlert(o.name.c_str(), o.source.c_str(), o.severity, OrNull(o.description), OrNull(o.info1),
                              OrNull(o.card), OrNull(o.category), o.type, o.cause, o.ui) != 0) {
      throw Failure(Because("cannot raise " + o.name));
    }
  });

  static std::string name;
  static std::string source;
  const auto add_identity = [](CLI::App* command) {
    command->add_option("name", name, "Alarm name")->required();
    command->add_option("source", source, "Reporting component")->required();
  };
  CLI::App* clear = alarm->add_subcommand("clear", "Clear an alarm (severity 0; it stays until deleted)");
  add_identity(clear);
  clear->callback([] {
    if (AlertManager_ClearAlert(name.c_str(), source.c_str()) < 0) throw Failure("no alarm " + name + "/" + source);
  });
  CLI::App* remove =
      alarm->add_subcommand("delete", "Free an alarm's slot (a half-written one by its name and an empty source)");
  add_identity(remove);
  remove->callback([] {
    if (AlertReporter().DeleteAlert(name, source) < 0) throw Failure("no alarm " + name + "/" + source);
  });
  CLI::App* ack = alarm->add_subcommand("ack", "Record that the user confirmed an alarm (or events) of that name");
  add_identity(ack);
  ack->callback([] {
    if (AlertReporter().ConfirmationReceived(name, source) < 0) throw Failure("nothing named " + name + "/" + source);
  });

  CLI::App* event = app.add_subcommand("event", "Add events");
  event->require_subcommand(1);
  static RaiseOptions event_options;
  CLI::App* add = event->add_subcommand("add", "Add an event (the oldest is overwritten when the table is full)");
  AddRaiseOptions(add, event_options);
  add->callback([&context] {
    const RaiseOptions& o = event_options;
    CheckCard(o.card);
    ForgetLibraryLog();
    const int slot = AlertManager_SetEvent(o.name.c_str(), o.source.c_str(), o.severity, OrNull(o.description),
                                           OrNull(o.info1), OrNull(o.card), OrNull(o.category), o.type, o.cause, o.ui);
    if (slot < 0) throw Failure(Because("cannot add " + o.name));
    PrintObject({{"slot", slot}}, context.json);
  });

  app.add_subcommand("alarms", "The alarm table")->callback([&context] { PrintTable(kAlarmSlots, context.json); });
  app.add_subcommand("events", "The event table")->callback([&context] { PrintTable(kEventSlots, context.json); });

  static StopRule stop("record");
  CLI::App* watch = app.add_subcommand(
      "watch", "Show cards like the device does, and print every alarm, event and card as it arrives "
               "from any process, until interrupted");
  stop.AddOptions(watch);
  watch->callback([&context] {
    static Printer printer(context.json);
    g_printer = &printer;
    g_json = context.json;
    ConfigManager* config = ConfigManager::Instance();
    config->registerMultiConfigPathsChangeCallback({"command/card", "remote/console/command/card"}, PrintCards);
    AlertManager* manager = AlertManager::GetInstance();
    manager->RegisterToAlert(&printer, "ALL", "ALL");
    manager->RegisterToEvent(&printer, "ALL", "ALL");
    AlertUINotifier::GetInstance()->Init();
    // On stderr, so that stdout carries only records (JSON lines with --json).
    std::fprintf(stderr, "watching %s (Ctrl-C to stop)\n", vmCfgDatabasePath());
    stop.Start();
    while (stop.KeepGoing()) {
      const int before = printer.printed;
      ForgetLibraryLog();
      if (config->dispatchPending() < 0) throw Failure(Because("cannot read the change journal"));
      stop.Arrived(printer.printed - before);
      if (!stop.Wants()) break;
      config->waitForChange(200);
    }
  });
}

}  // namespace dmctl
