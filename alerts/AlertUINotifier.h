// The library's own observer: turns alarms and events into cards.
//
// For a record that is to be shown it builds a uHeroCard (or takes the one
// given in additional info 2), serialises it and writes the JSON to the key
// the user interface watches, "command/card", and/or to the remote console's
// "remote/console/command/card", as the record's ui notification says. A
// cleared alarm gets the card that deletes the shown one. A process that
// shows cards calls GetInstance()->Init() once at start.
#ifndef DEVMGMT_ALERTS_ALERTUINOTIFIER_H_
#define DEVMGMT_ALERTS_ALERTUINOTIFIER_H_

#include <string>

#include "alerts/AlertObserver.h"
#include "alerts/uHeroCard.h"
#include "platform/vmCfg.h"

class DM_EXPORT AlertUINotifier : public AlertObserver {
 public:
  static AlertUINotifier* GetInstance();

  // Registers for every alarm and event and shows again the cards of the
  // alarms that stand already.
  void Init();

  void AlertCallback(SystemAlert* alert) override;
  void EventCallback(SystemAlert* event) override;
  ~AlertUINotifier() override;

  // Makes the record's card (or the clear card for severity 0) and writes it.
  void CreateCard(const std::string& issuer, SystemAlert* record);
  // name + "/" + source: what ties a clear card to the card it deletes.
  std::string GetChannel(const std::string& name, const std::string& source);
  std::string GetClearCard(const std::string& name, const std::string& source);
  std::string BuildCardFromAlarm(const std::string& issuer, SystemAlert* record);
  // The card adapted for the remote console, "" when it does not parse.
  std::string CustomizeCardForRemote(const std::string& card);
  // Writes the card to the keys of `mode` and flushes change notifications.
  void OpenCard(vmTCfgTypeStatusAlarmUiNotification mode, const std::string& card);
  // The JSON text (at most 2047 bytes), "" when it does not fit.
  std::string SerializeCard(uHeroCard& card);
  // 0, or -1 when the text is not a card.
  int DeSerializerCard(const std::string& text, uHeroCard& card);

 private:
  AlertUINotifier() = default;
};

#endif  // DEVMGMT_ALERTS_ALERTUINOTIFIER_H_
