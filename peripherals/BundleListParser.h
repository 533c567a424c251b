// Peripheral bundle texts: one comma-separated line per attached peripheral
// ("Camera X,VIDEO,USB") mixing the device name with type words (roles) and
// interface words. The reserved words are the enumeration names of the
// peripheral type and hardware-type parameters of the configuration schema.
#ifndef DEVMGMT_PERIPHERALS_BUNDLELISTPARSER_H_
#define DEVMGMT_PERIPHERALS_BUNDLELISTPARSER_H_

#include <string>
#include <vector>

#include "peripherals/PeripheralInfo.h"

class DM_EXPORT BundleEntity {
 public:
  // True when the name is blank and there are no interfaces and no types.
  bool Empty() const;
  // "display name (else name)/first type/first interface"; with skipEmpty
  // absent parts are left out instead of leaving empty segments.
  std::string GetSource(bool skipEmpty) const;

  std::string m_name;
  std::string m_displayName;
  std::vector<std::string> m_hwInterfaces;  // upper case
  std::vector<std::string> m_types;         // upper case
};

class DM_EXPORT BundleListParser {
 public:
  // Words are upper-cased before the look-up.
  static bool IsRole(const std::string& word);
  static bool IsHwInterface(const std::string& word);

  // Splits at ","; roles and interfaces are kept upper case, the first other
  // word (as written) is the name, further ones are dropped.
  static BundleEntity ParseStirngToEntity(const std::string& text);
  // The blank-separated words of `name` that are not reserved, joined by one blank.
  static std::string ClearReservedWordsFromName(const std::string& name);

  // Applies a rewritten info's type (first role) and hw_type (all interfaces).
  static void UpdateHwTypeAndType(BundleEntity& entity, const PeripheralInfo& info);
  // Rewrites the entity's name through the peripheral filters, then gives a
  // display (HDMI, DISPLAYPORT or DISPLAY) the type and interfaces of its
  // connection's filter.
  static void UpdateEntityWithRewriteInfo(BundleEntity& entity);

  // The device's bundle slots 0-5, the host's slots 0-1; empty slots skipped.
  static std::vector<BundleEntity> GetDeviceBundleList();
  static std::vector<BundleEntity> GetHostBundleList();
  static std::vector<BundleEntity> GetDeviceReWrittenBundleList();

  static void LogBundleEntity(const BundleEntity& entity);
};

#endif  // DEVMGMT_PERIPHERALS_BUNDLELISTPARSER_H_
