// Peripheral filter documents are files that firmware updates replace.
#include "fuzz/JsonRoundTrip.h"
#include "peripherals/PeripheralDeviceFilter.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::CheckJsonRoundTrip<PeripheralDeviceFiltersJson>(data, size);
  return 0;
}
