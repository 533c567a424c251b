// Time arithmetic that stays right past 2038 on 32-bit hosts.
//
// The phone's time_t is 32 bits, so a date such as a certificate's expiry in
// 2050 cannot pass through time_t. These helpers work on ASN.1 time texts
// with OpenSSL's calendar arithmetic and clamp results to 32 bits.
#ifndef DEVMGMT_PLATFORM_VMTIME_H_
#define DEVMGMT_PLATFORM_VMTIME_H_

#include <stdint.h>

#include "DmExport.h"

#ifdef __cplusplus
extern "C" {
#endif

// Seconds since 1970-01-01 UTC of `asn1_time` ("YYMMDDHHMMSSZ" or
// "YYYYMMDDHHMMSSZ"), clamped to [-2147483648, 2147483647], so 2050 gives
// 2147483647 on every host. Returns 0 on success, -1 when the text is not
// such a time (the output is then untouched).
DM_EXPORT int vm_asn1_time_to_epoch(const char* asn1_time, int32_t* epoch);

// Clamps a 64-bit second count to the 32-bit range that the device's APIs use.
DM_EXPORT int32_t vm_clamp_seconds(int64_t seconds);

#ifdef __cplusplus
}
#endif

#endif  // DEVMGMT_PLATFORM_VMTIME_H_
