#include "alerts/AlertUINotifier.h"

#include <cstring>
#include <vector>

#include "alerts/AlertManager.h"
#include "platform/DmBoundary.h"
#include "platform/ConfigManager.h"
#include "platform/uJson.h"
#include "platform/vmLog.h"

#define UI_LOG(level, ...) DM_LOG(VM_LOG_MODULE_ALERTS, level, __VA_ARGS__)

namespace {

// The key the user interface watches, and the remote console's copy of it.
const char* const kCardKey = "command/card";
const char* const kRemoteCardKey = "remote/console/command/card";

void WriteCard(const DmLogSite& site, const char* key, const std::string& card) {
  const int rc = vmCfgSetParam(key, card.c_str());
  if (rc != VM_CFG_OK) DM_LOG_AT(site, VM_LOG_MODULE_ALERTS, LOG_ERR, "Failed to write the card to %s (%d)", key, rc);
}

}  // namespace

AlertUINotifier* AlertUINotifier::GetInstance() {
  static AlertUINotifier instance;
  return &instance;
}

AlertUINotifier::~AlertUINotifier() = default;

void AlertUINotifier::Init() try {
  UI_LOG(LOG_DEBUG, "Init AlertUINotifier");
  AlertManager* manager = AlertManager::GetInstance();
  manager->RegisterToAlert(this, "ALL", "ALL");
  manager->RegisterToEvent(this, "ALL", "ALL");
  for (SystemAlert& alert : manager->GetActiveAlerts()) AlertCallback(&alert);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, )

void AlertUINotifier::AlertCallback(SystemAlert* alert) try {
  if (alert == nullptr) return;
  if (alert->m_uiNotification == VM_UI_NOTIFICATION_DISABLED) {
    UI_LOG(LOG_DEBUG, "UI notification for Alert %s is disabled", alert->m_name.c_str());
    return;
  }
  if (alert->m_uiNotification == VM_UI_NOTIFICATION_CLEARED) {
    UI_LOG(LOG_DEBUG, "UI notification for Alert %s is cleared", alert->m_name.c_str());
    return;
  }
  UI_LOG(LOG_DEBUG, "Report Alert - name: %s, source component: %s, severity: %d, uiNotification = %d",
         alert->m_name.c_str(), alert->m_sourceComponent.c_str(), alert->m_severity, alert->m_uiNotification);
  CreateCard("Alarm Notification", alert);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, )

void AlertUINotifier::EventCallback(SystemAlert* event) try {
  if (event == nullptr) return;
  if (event->m_uiNotification == VM_UI_NOTIFICATION_DISABLED) {
    UI_LOG(LOG_DEBUG, "UI notification for Event %s is disabled", event->m_name.c_str());
    return;
  }
  UI_LOG(LOG_DEBUG, "Report Event - name: %s, source component: %s, severity: %d", event->m_name.c_str(),
         event->m_sourceComponent.c_str(), event->m_severity);
  CreateCard("Event Notification", event);
} DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, )

void AlertUINotifier::CreateCard(const std::string& issuer, SystemAlert* record) {
  if (record == nullptr) return;
  // The mode is the one the record came with, not the 1 written below.
  const int mode = record->m_uiNotification;
  std::string card;
  if (record->m_severity != 0) {
    if (!record->m_additionalInfo2.empty()) {
      UI_LOG(LOG_DEBUG, "Get card from addInfo2");
      card = record->m_additionalInfo2;
    } else {
      UI_LOG(LOG_DEBUG, "Build Card From Alarm");
      card = BuildCardFromAlarm(issuer, record);
    }
  } else {
    UI_LOG(LOG_DEBUG, "Severity is cleared, get clear card");
    card = GetClearCard(record->m_name, record->m_sourceComponent);
    // So that the card is not raised again; the alarm table even for events.
    AlertManager::GetInstance()->ClearUiNotification(record->m_name, record->m_sourceComponent);
  }
  UI_LOG(LOG_DEBUG, "card = \n%s", card.c_str());
  OpenCard(static_cast<vmTCfgTypeStatusAlarmUiNotification>(mode), card);
}

std::string AlertUINotifier::GetChannel(const std::string& name, const std::string& source) {
  return name + "/" + source;
}

std::string AlertUINotifier::GetClearCard(const std::string& name, const std::string& source) {
  uHeroCard card("");
  card.m_channel.SetValue(GetChannel(name, source));
  card.m_delete.SetValue(true);
  return SerializeCard(card);
}

std::string AlertUINotifier::BuildCardFromAlarm(const std::string& issuer, SystemAlert* record) {
  if (record == nullptr) return std::string();
  uHeroCard card("");
  card.m_content.m_version.SetValue(std::string("1.0"));
  card.m_content.m_issuer.SetValue(issuer);
  card.m_content.m_title.SetValue(record->m_name);
  card.m_content.m_text.SetValue(
      AlertManager::BuildAlertDescription(record->m_description, record->m_additionalInfo1));
  uHeroCard::Content::Button* button = card.m_content.m_buttons.Append();
  button->m_type.SetValue(std::string("OK"));
  button->m_title.SetValue(std::string("Close"));
  card.m_channel.SetValue(GetChannel(record->m_name, record->m_sourceComponent));
  card.m_onOff.SetValue(true);
  card.m_delete.SetValue(false);
  card.m_type.SetValue(std::string("Alert"));
  return SerializeCard(card);
}

std::string AlertUINotifier::CustomizeCardForRemote(const std::string& text) {
  uHeroCard card("");
  // Parsed directly: a card that does not parse is reported by this line alone.
  if (!uJson::DeSerializer::DeSerialize(card, text)) {
    UI_LOG(LOG_ERR, "CustomizeCardForRemote failed");
    return std::string();
  }
  card.m_content.m_issuer.SetValue("Front of room -" + card.m_content.m_issuer.GetString());
  for (auto it = card.m_content.m_buttons.GetListIteratorBegin(); it != card.m_content.m_buttons.GetListIteratorEnd();
       ++it) {
    uHeroCard::Content::Button& button = **it;
    if (button.m_type.GetString() != "Set_Parameter") continue;
    // The button sets a parameter of the console's own, not of the device.
    const std::string value = button.m_value.GetString();
    if (value.compare(0, 7, "remote/") != 0) button.m_value.SetValue("remote/for/" + value);
  }
  return SerializeCard(card);
}

void AlertUINotifier::OpenCard(vmTCfgTypeStatusAlarmUiNotification mode, const std::string& card) {
  switch (mode) {
    case VM_UI_NOTIFICATION_DEVICE:
      WriteCard(DM_LOG_SITE, kCardKey, card);
      break;
    case VM_UI_NOTIFICATION_REMOTE:
      WriteCard(DM_LOG_SITE, kRemoteCardKey, card);
      break;
    case VM_UI_NOTIFICATION_DEVICE_AND_REMOTE:
      WriteCard(DM_LOG_SITE, kCardKey, card);
      // The adaptation only tells whether the console can take the card;
      // the console receives the card as given.
      if (!CustomizeCardForRemote(card).empty()) WriteCard(DM_LOG_SITE, kRemoteCardKey, card);
      break;
    default:
      break;
  }
  ConfigManager::Instance()->flushChangeNotificationMsg();
}

std::string AlertUINotifier::SerializeCard(uHeroCard& card) {
  char buffer[2048];
  std::memset(buffer, 0, sizeof buffer);
  if (uJson::Serializer::Serialize(card, buffer, sizeof buffer) != 0) {
    UI_LOG(LOG_ERR, "cant display card , uJson::Serializer failed");
    return std::string();
  }
  return buffer;
}

int AlertUINotifier::DeSerializerCard(const std::string& text, uHeroCard& card) {
  if (!uJson::DeSerializer::DeSerialize(card, text)) {
    UI_LOG(LOG_ERR, "uJson::DeSerializer failed");
    return -1;
  }
  return 0;
}
