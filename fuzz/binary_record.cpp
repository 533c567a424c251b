// The binary record reader behind every IPC payload: any bytes, and a record
// with every kind of node. What it accepted writes back to the same bytes.
#include <cstring>

#include "fuzz/FuzzSupport.h"
#include "platform/BinaryBuffer.h"
#include "platform/SampleRecord.h"
#include "platform/uBinary.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Init();
  SampleRecord record;
  size_t consumed = 0;
  if (uBinary::DeSerializer::DeSerialize(record, data, size, &consumed) == 0) return 0;
  FUZZ_CHECK(consumed <= size);
  BinaryBuffer out;
  FUZZ_CHECK(uBinary::Serializer::Serialize(record, out) == 0);
  FUZZ_CHECK(out.size() == consumed);
  FUZZ_CHECK(std::memcmp(out.data(), data, consumed) == 0);
  return 0;
}
