// Turns a peripheral as detected into the peripheral as shown and stored.
//
// Filters come from two documents: the configured one (text in the
// configuration, read on every rewrite and parsed again whenever it changed)
// and the default one (a file read once, when the singleton is created). The best-scoring configured filter
// wins; only when none matches are the default filters tried. The rewriter is
// itself the default filters document.
//
// The default document's path is PERIPHERAL_DEFAULT_FILTERS_JSON unless the
// environment variable DM_PERIPHERAL_DEFAULT_FILTERS names another file when
// the singleton is created (tests and tools use it).
#ifndef DEVMGMT_PERIPHERALS_PERIPHERALDEVICEREWRITER_H_
#define DEVMGMT_PERIPHERALS_PERIPHERALDEVICEREWRITER_H_

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "peripherals/PeripheralDeviceFilter.h"
#include "peripherals/PeripheralInfo.h"

class DM_EXPORT PeripheralDeviceRewriter : public PeripheralDeviceFiltersJson {
 public:
  static constexpr const char* PERIPHERAL_DEFAULT_FILTERS_JSON =
      "/tmp/peripheral_devices/default_peripheral_filters.json";
  // The environment variable that overrides the default document's path.
  static constexpr const char* DEFAULT_FILTERS_ENV = "DM_PERIPHERAL_DEFAULT_FILTERS";

  // Match score bits (a higher score wins; see CalculateFilterMatchScore).
  enum ScoreBit : int {
    kVidBit = 0,
    kPidBit = 1,
    kPartialNameBit = 2,
    kTypeBit = 3,
    kExactNameBit = 4,
  };

  ~PeripheralDeviceRewriter() override;

  // The one instance; the first call creates it and loads the default list.
  static PeripheralDeviceRewriter* Instance();
  // Loads the default list; a missing or bad file leaves it empty.
  void Init();
  // PERIPHERAL_DEFAULT_FILTERS_JSON, or the environment override.
  static std::string DefaultFiltersPath();

  static bool GetFilterListFromJsonFile(const std::string& path, PeripheralDeviceFiltersJson& out);
  static bool GetFilterListFromString(const std::string& text, PeripheralDeviceFiltersJson& out);

  // Fills `out` from the best filter (configured first, then default) and
  // returns true; with no match copies `in` (type and manufacturer edits
  // still apply) and returns false.
  bool RewritePeripheralInfo(const PeripheralInfo& in, PeripheralInfo& out);
  // The best filter of `list` fills `out`; false, `out` untouched, when no
  // filter scores above 0. Ties keep the earlier filter.
  static bool FindFilterInList(const PeripheralInfo& in, PeripheralInfo& out,
                               PeripheralDeviceFiltersList& list);

  // 16 exact name, 8 type, 4 name or partial name contained, 2 pid, 1 vid
  // (only with the pid). All comparisons of text ignore case.
  static unsigned CalculateFilterMatchScore(const PeripheralInfo& device, const PeripheralInfo& filterIn);
  // The score bit to set: kExactNameBit, kPartialNameBit or 0 (none).
  static int IsCompatibleName(const PeripheralInfo& device, const PeripheralInfo& filterIn);
  // kTypeBit or 0 (none).
  static int IsCompatibleType(const PeripheralInfo& device, const PeripheralInfo& filterIn);
  static bool IsCompatiblePid(const PeripheralInfo& device, const PeripheralInfo& filterIn);
  static bool IsCompatibleVid(const PeripheralInfo& device, const PeripheralInfo& filterIn);

  // Ids from the device; the name from `source` when set and not empty;
  // every other field (but the partial name) from `source` when set, even
  // empty, else from the device. Then the type choice and manufacturer edits.
  static void FillOutInfo(const PeripheralInfo& device, const PeripheralInfo& source, PeripheralInfo& out);
  // Resolves a type choice list "SYS1=type;ELSE=type" for this system's type.
  static void EditFilteredOutInfoType(PeripheralInfo& out);
  static void EditManufacturer(PeripheralInfo& out);

  // The "out" display name of the first default filter whose "in" name is
  // `name` exactly; "" when none.
  std::string GetDisplayName(const std::string& name) const;

  static void PrintPeripheralInfo(const PeripheralInfo& info, const std::string& label);

  static boost::shared_ptr<PeripheralDeviceRewriter> m_Instance;

 private:
  PeripheralDeviceRewriter();
};

// Appends every piece of `s` between `delimiter`s to `out`, empty pieces
// included; an empty `s` gives one empty piece.
DM_EXPORT void strSplit(const std::string& s, char delimiter, std::vector<std::string>& out);

#endif  // DEVMGMT_PERIPHERALS_PERIPHERALDEVICEREWRITER_H_
