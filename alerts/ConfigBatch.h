// One operation on the alarm and event tables as one write batch of the
// configuration database, when the platform has batches.
//
// The host platform makes the writes between vmCfgBatchBegin and
// vmCfgBatchCommit one transaction (a slot is written whole or not at all,
// and its change notifications arrive together); the phone's platform has
// no such calls. The library finds them at run time (weak references), so
// one binary runs on both: without them a scope does nothing and every
// setter call stands alone, as before. DM_CONFIG_BATCH=off in the
// environment makes the library act as on a platform without them (to
// reproduce that behaviour on a host). Internal header; not installed.
#ifndef DEVMGMT_ALERTS_CONFIGBATCH_H_
#define DEVMGMT_ALERTS_CONFIGBATCH_H_

#include "platform/vmLog.h"

class ConfigBatch {
 public:
  // Begins a batch; a failure is logged as `site` (DM_LOG_SITE of the operation). A batch
  // that is not `required` only makes a sequence of reads and writes
  // consistent: when it cannot begin (a read-only database) the work goes on
  // without it, and nothing is logged.
  explicit ConfigBatch(const DmLogSite& site, bool required = true);
  // Rolls back what was not committed.
  ~ConfigBatch();
  ConfigBatch(const ConfigBatch&) = delete;
  ConfigBatch& operator=(const ConfigBatch&) = delete;

  // False only when the platform has batches and could not begin one: the
  // operation must then write nothing.
  bool Started() const { return m_started; }
  // True when the platform has batches and this one could not begin: the
  // database cannot be written now.
  bool Refused() const { return Available() && !m_open && !m_committed; }
  // VM_CFG_OK, or the platform's failure (logged): nothing was written then.
  int Commit();

  // Whether the platform's batch is in use in this process.
  static bool Available();

 private:
  DmLogSite m_site;
  bool m_started = true;
  bool m_open = false;
  bool m_committed = false;
};

#endif  // DEVMGMT_ALERTS_CONFIGBATCH_H_
