// The description of one peripheral: as detected, as a filter's pattern ("in")
// or as a filter's replacement ("out").
//
// String fields start unset, which is not the same as empty: a filter that
// gives "" for a field blanks it, a filter that leaves the key out keeps the
// detected value. Ids start at -1, "not known".
#ifndef DEVMGMT_PERIPHERALS_PERIPHERALINFO_H_
#define DEVMGMT_PERIPHERALS_PERIPHERALINFO_H_

#include <string>
#include <vector>

#include "platform/IElementSerializable.h"
#include "platform/IIntegerElement.h"
#include "platform/IStringElement.h"

class DM_EXPORT PeripheralInfo : public IElementSerializable {
 public:
  class DM_EXPORT Name : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT PartialName : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT Vid : public IIntegerElement {
   public:
    Vid() : IIntegerElement(-1) {}
    const char* GetName() const override;
  };
  class DM_EXPORT Pid : public IIntegerElement {
   public:
    Pid() : IIntegerElement(-1) {}
    const char* GetName() const override;
  };
  class DM_EXPORT Type : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT HwType : public IStringElement {
   public:
    const char* GetName() const override;
    // The interfaces split at every blank, empty pieces kept ("HDMI  USB"
    // gives "HDMI", "", "USB"); unset or empty gives one empty piece.
    std::vector<std::string> GetSpacedNameAsVector() const;
  };
  class DM_EXPORT AdditionalInfo : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT DisplayName : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT Manufacturer : public IStringElement {
   public:
    const char* GetName() const override;
  };

  PeripheralInfo();
  ~PeripheralInfo() override;
  const char* GetName() const override;

  // Copies every field, unset strings staying unset (records cannot be
  // copied by constructor: their child list points into themselves).
  void CopyFrom(const PeripheralInfo& other);

  Name m_name;
  PartialName m_partialName;
  Vid m_vid;
  Pid m_pid;
  Type m_type;
  HwType m_hwType;
  AdditionalInfo m_additionalInfo;
  DisplayName m_displayName;
  Manufacturer m_manufacturer;
};

// Copies a string leaf's value, unset included.
DM_EXPORT void CopyStringElement(IStringElement& to, const IStringElement& from);

#endif  // DEVMGMT_PERIPHERALS_PERIPHERALINFO_H_
