// Peripheral firmware release files come with downloaded packages.
#include "fuzz/JsonRoundTrip.h"
#include "peripherals/ReleaseFWInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::CheckJsonRoundTrip<ReleaseFWInfo>(data, size);
  return 0;
}
