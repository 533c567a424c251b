// The status report read back from JSON (its key/value lists included).
#include "ems/EmsRequests.h"
#include "fuzz/JsonRoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::CheckJsonRoundTrip<EmsIppStatusRequest>(data, size);
  return 0;
}
