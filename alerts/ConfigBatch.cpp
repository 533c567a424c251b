#include "alerts/ConfigBatch.h"

#include <cstdlib>
#include <cstring>

#include "alerts/AlertManagerLog.h"
#include "platform/vmCfg.h"

// Weak: resolved to null on a platform whose library lacks them.
#pragma weak vmCfgBatchBegin
#pragma weak vmCfgBatchCommit
#pragma weak vmCfgBatchRollback

bool ConfigBatch::Available() {
  static const bool available = [] {
    const char* setting = std::getenv("DM_CONFIG_BATCH");
    if (setting != nullptr && std::strcmp(setting, "off") == 0) return false;
    return vmCfgBatchBegin != nullptr && vmCfgBatchCommit != nullptr && vmCfgBatchRollback != nullptr;
  }();
  return available;
}

ConfigBatch::ConfigBatch(const DmLogSite& site, bool required) : m_site(site) {
  if (!Available()) return;
  const int rc = vmCfgBatchBegin();
  m_open = rc == VM_CFG_OK;
  m_started = m_open || !required;
  if (!m_started) ALERT_LOG_AT(m_site, LOG_ERR, "Cannot start a write batch (result %d); nothing written", rc);
}

ConfigBatch::~ConfigBatch() {
  if (m_open) vmCfgBatchRollback();
}

int ConfigBatch::Commit() {
  if (!m_open) return VM_CFG_OK;
  m_open = false;
  m_committed = true;
  const int rc = vmCfgBatchCommit();
  if (rc != VM_CFG_OK) ALERT_LOG_AT(m_site, LOG_ERR, "Write batch failed (result %d); nothing written", rc);
  return rc;
}
