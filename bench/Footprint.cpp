// One operation per run, for scripts/bench.sh to measure under a heap
// profiler (valgrind massif for peaks, memcheck for allocation counts) or by
// the resident size it prints. Setup steps are separate runs so that their
// own heap does not count.
//
// Usage: dm_footprint MODE [ARG]; the database is VM_CFG_DB.
//   populate N   100 groups of N parameters and the 50 reported paths
//   filters N    N configured peripheral filters
//   idle         nothing; prints "rss_kib <VmRSS>"
//   alerts       the alarm manager and the card notifier start
//   report       one status report built and written
//   rewrite      one peripheral rewrite
//   message N    N events built, sent and received
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "alerts/AlertManager.h"
#include "alerts/AlertUINotifier.h"
#include "bench/GroupedParams.h"
#include "devmgmt.h"
#include "ems/EMSMessageBuilderSfb.h"
#include "events/uDeviceManagementEvent.h"
#include "peripherals/PeripheralDeviceRewriter.h"
#include "platform/uIPCReceiver.h"
#include "platform/uIPCSender.h"
#include "platform/uJson.h"
#include "platform/vmCfg.h"

namespace {

constexpr int kGroups = 100;


// The same 50 reported paths whatever N (N >= 8): 40 plain ones and 10
// wildcards over a group each, so that only the database's size differs.
int Populate(int perGroup) {
  char probe[8];
  vmCfgGetParam("device/name", probe, sizeof probe);  // creates the database
  const bool committed = benchresults::SeedGroupedParams(std::getenv("VM_CFG_DB"), kGroups, perGroup);
  std::string paths;
  for (int i = 0; i < 40; ++i) paths += "/" + benchresults::GroupedParamPath(i * 2, i % 8) + ", ";
  for (int i = 0; i < 10; ++i) {
    char item[64];
    std::snprintf(item, sizeof item, "bench/group/%03d/*/07", 90 + i);
    paths += item;
    if (i + 1 < 10) paths += ", ";
  }
  return committed && vmCfgSetParam("ems/report/periodic_status_paths", paths.c_str()) == VM_CFG_OK ? 0 : 1;
}

int ConfigureFilters(int count) {
  std::string doc = "{\"name\":\"footprint\",\"filters\":[";
  for (int i = 0; i < count; ++i) {
    const std::string n = std::to_string(i);
    if (i) doc += ",";
    doc += "{\"in\":{\"name\":\"VELMORA MODEL " + n + "\"},\"out\":{\"name\":\"Velmora Model " + n +
           "\",\"display_name\":\"Model " + n + "\",\"type\":\"DP400=HEADSET;ELSE=SPEAKER\",\"hw_type\":\"USB\"}}";
  }
  doc += "]}";
  return vmCfgSetParam("peripheral/filters", doc.c_str()) == VM_CFG_OK ? 0 : 1;
}

int Idle() {
  // Both libraries stay loaded: something of each is used.
  if (devmgmt_version() == nullptr || dmplatform_version() == nullptr) return 1;
  FILE* status = std::fopen("/proc/self/status", "re");
  if (status == nullptr) return 1;
  char line[256];
  while (std::fgets(line, sizeof line, status) != nullptr) {
    long kib = 0;
    if (std::sscanf(line, "VmRSS: %ld kB", &kib) == 1) std::printf("rss_kib %ld\n", kib);
  }
  std::fclose(status);
  return 0;
}

int Report() {
  InitEMSMessageBuilderBaseInstance();
  EMSMessageBuilder* builder = SingletonHolder<EMSMessageBuilder, EMSMessageBuilder>::Instance();
  static char text[32768];
  EmsIppStatusRequest request;
  builder->BuildStatusBaseMsg(&request);
  builder->BuildStatusMsg(&request);
  if (request.m_additionalParams.GetChildCount() != 50) return 1;
  return uJson::Serializer::Serialize(request, text, sizeof text) == 0 ? 0 : 1;
}

int Rewrite() {
  PeripheralInfo in;
  in.m_name.SetValue(std::string("Velmora Model 196"));
  PeripheralInfo out;
  return PeripheralDeviceRewriter::Instance()->RewritePeripheralInfo(in, out) ? 0 : 1;
}

class Sender : public uIPCSender {};

int Messages(int count) {
  const std::string prefix = "dmfootprint" + std::to_string(getpid()) + "_";
  setenv("VM_MQ_PREFIX", prefix.c_str(), 1);
  constexpr vm_mq_id kQueue = 15;
  uIPCReceiver receiver(kQueue);
  Sender sender;
  SendIppStatusEv event;
  static message_extra_t message;
  int received = 0;
  for (int i = 0; i < count; ++i) {
    event.m_data.m_status.SetValue(i);
    if (sender.SendEvent(event, kQueue) == 0 && receiver.Receive(message, 1000) > 0) ++received;
  }
  receiver.Unlink();
  return received == count ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  setenv("VM_LOG_LEVEL", "3", 0);
  const std::string mode = argv[1];
  const int number = argc > 2 ? std::atoi(argv[2]) : 0;
  if (mode == "populate" && number >= 8) return Populate(number);
  if (mode == "filters" && number > 0) return ConfigureFilters(number);
  if (mode == "idle") return Idle();
  if (mode == "alerts") {
    AlertManager::GetInstance();
    AlertUINotifier::GetInstance()->Init();
    return 0;
  }
  if (mode == "report") return Report();
  if (mode == "rewrite") return Rewrite();
  if (mode == "message" && number > 0) return Messages(number);
  return 2;
}
