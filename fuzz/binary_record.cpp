// The binary record reader behind every IPC payload: any bytes, and a record
// with every kind of node. What it accepted writes back to as many bytes
// (a bool byte other than 't' reads by the text rule, so it comes back as
// 't' or 'f'), and that form reads and writes back unchanged.
#include <cstring>

#include "fuzz/FuzzSupport.h"
#include "platform/BinaryBuffer.h"
#include "platform/SampleRecord.h"
#include "platform/uBinary.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SampleRecord record;
  size_t consumed = 0;
  if (uBinary::DeSerializer::DeSerialize(record, data, size, &consumed) == 0) return 0;
  FUZZ_CHECK(consumed <= size);
  BinaryBuffer out;
  FUZZ_CHECK(uBinary::Serializer::Serialize(record, out) == 0);
  FUZZ_CHECK(out.size() == consumed);
  SampleRecord again;
  size_t consumedAgain = 0;
  FUZZ_CHECK(uBinary::DeSerializer::DeSerialize(again, out.data(), out.size(), &consumedAgain) != 0);
  FUZZ_CHECK(consumedAgain == out.size());
  BinaryBuffer second;
  FUZZ_CHECK(uBinary::Serializer::Serialize(again, second) == 0);
  FUZZ_CHECK(second.size() == out.size() && std::memcmp(second.data(), out.data(), out.size()) == 0);
  return 0;
}
