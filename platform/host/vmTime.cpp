#include "platform/vmTime.h"

#include <openssl/asn1.h>

#include <cstdint>

#include "platform/vmLog.h"

extern "C" int32_t vm_clamp_seconds(int64_t seconds) {
  if (seconds > INT32_MAX) return INT32_MAX;
  if (seconds < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(seconds);
}

extern "C" int vm_asn1_time_to_epoch(const char* asn1_time, int32_t* epoch) {
  if (asn1_time == nullptr || epoch == nullptr) return -1;
  ASN1_TIME* origin = ASN1_TIME_new();
  ASN1_TIME* when = ASN1_TIME_new();
  int days = 0;
  int secs = 0;
  // ASN1_TIME_diff counts calendar days and seconds between two texts, so no
  // time_t ever holds the date.
  const bool ok = origin != nullptr && when != nullptr &&
                  ASN1_TIME_set_string_X509(origin, "19700101000000Z") == 1 &&
                  ASN1_TIME_set_string_X509(when, asn1_time) == 1 &&
                  ASN1_TIME_diff(&days, &secs, origin, when) == 1;
  ASN1_TIME_free(origin);
  ASN1_TIME_free(when);
  if (!ok) {
    DM_LOG(VM_LOG_MODULE_PLATFORM, LOG_ERR, "Not an ASN.1 time: %s", asn1_time);
    return -1;
  }
  *epoch = vm_clamp_seconds(static_cast<int64_t>(days) * 86400 + secs);
  return 0;
}
