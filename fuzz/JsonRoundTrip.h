// The invariant every JSON record reader must keep: text it accepted
// serialises, and that text reads back into a record that serialises to the
// very same text (nothing lost or invented on a second pass).
#ifndef DEVMGMT_FUZZ_JSONROUNDTRIP_H_
#define DEVMGMT_FUZZ_JSONROUNDTRIP_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz/FuzzSupport.h"
#include "platform/uJson.h"

namespace fuzz {

// `make` returns a pointer that owns a fresh record.
template <typename Make>
void CheckJsonRoundTrip(const uint8_t* data, size_t size, Make make) {
  auto first = make();
  if (uJson::DeSerializer::DeSerialize(*first, reinterpret_cast<const char*>(data), size) == 0) return;
  std::string text;
  FUZZ_CHECK(uJson::Serializer::Serialize(*first, text) == 0);
  auto second = make();
  FUZZ_CHECK(uJson::DeSerializer::DeSerialize(*second, text) != 0);
  std::string again;
  FUZZ_CHECK(uJson::Serializer::Serialize(*second, again) == 0);
  FUZZ_CHECK(again == text);
}

template <typename T>
void CheckJsonRoundTrip(const uint8_t* data, size_t size) {
  CheckJsonRoundTrip(data, size, [] { return std::make_unique<T>(); });
}

}  // namespace fuzz

#endif  // DEVMGMT_FUZZ_JSONROUNDTRIP_H_
