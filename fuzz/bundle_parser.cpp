// Peripheral bundle lines come from attached devices' descriptors.
#include <string>

#include "fuzz/FuzzSupport.h"
#include "peripherals/BundleListParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  BundleEntity entity = BundleListParser::ParseStirngToEntity(text);
  for (const std::string& word : entity.m_types) FUZZ_CHECK(BundleListParser::IsRole(word));
  for (const std::string& word : entity.m_hwInterfaces) FUZZ_CHECK(BundleListParser::IsHwInterface(word));
  entity.GetSource(true);
  entity.GetSource(false);
  entity.Empty();
  const std::string cleared = BundleListParser::ClearReservedWordsFromName(text);
  FUZZ_CHECK(cleared.size() <= text.size());
  // Clearing is idempotent: what is left holds no reserved word.
  FUZZ_CHECK(BundleListParser::ClearReservedWordsFromName(cleared) == cleared);
  return 0;
}
