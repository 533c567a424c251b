// System-state records are JSON that any device process may write.
#include <string>

#include "fuzz/JsonRoundTrip.h"
#include "state/uSystemState.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::CheckJsonRoundTrip<SystemState>(data, size);
  // The C-string entry point reads up to the first NUL.
  const std::string text(reinterpret_cast<const char*>(data), size);
  SystemState record;
  if (GetStatusSystemStateFromBuf(text.c_str(), record) == 0) {
    const std::string written = SerializeSystemState(record);
    SystemState again;
    FUZZ_CHECK(written.empty() || DeSerializeSystemState(written.c_str(), again) == 0);
  }
  return 0;
}
