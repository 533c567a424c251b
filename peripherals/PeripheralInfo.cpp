#include "peripherals/PeripheralInfo.h"

#include "peripherals/PeripheralDeviceRewriter.h"

PeripheralInfo::PeripheralInfo() {
  AddChildToElementInConstructor(&m_name);
  AddChildToElementInConstructor(&m_partialName);
  AddChildToElementInConstructor(&m_vid);
  AddChildToElementInConstructor(&m_pid);
  AddChildToElementInConstructor(&m_type);
  AddChildToElementInConstructor(&m_hwType);
  AddChildToElementInConstructor(&m_additionalInfo);
  AddChildToElementInConstructor(&m_displayName);
  AddChildToElementInConstructor(&m_manufacturer);
}

PeripheralInfo::~PeripheralInfo() = default;

void PeripheralInfo::CopyFrom(const PeripheralInfo& other) {
  if (&other == this) return;
  CopyStringElement(m_name, other.m_name);
  CopyStringElement(m_partialName, other.m_partialName);
  m_vid.SetValue(other.m_vid.GetValue());
  m_pid.SetValue(other.m_pid.GetValue());
  CopyStringElement(m_type, other.m_type);
  CopyStringElement(m_hwType, other.m_hwType);
  CopyStringElement(m_additionalInfo, other.m_additionalInfo);
  CopyStringElement(m_displayName, other.m_displayName);
  CopyStringElement(m_manufacturer, other.m_manufacturer);
}

std::vector<std::string> PeripheralInfo::HwType::GetSpacedNameAsVector() const {
  std::vector<std::string> words;
  strSplit(GetString(), ' ', words);
  return words;
}

void CopyStringElement(IStringElement& to, const IStringElement& from) {
  // A null text makes the leaf unset; the length keeps embedded NULs.
  to.SetValue(from.GetValue(), static_cast<int>(from.GetString().size()));
}

// Out of line so that every process shares one exported definition.
const char* PeripheralInfo::Name::GetName() const { return "name"; }
const char* PeripheralInfo::PartialName::GetName() const { return "partial_name"; }
const char* PeripheralInfo::Vid::GetName() const { return "vid"; }
const char* PeripheralInfo::Pid::GetName() const { return "pid"; }
const char* PeripheralInfo::Type::GetName() const { return "type"; }
const char* PeripheralInfo::HwType::GetName() const { return "hw_type"; }
const char* PeripheralInfo::AdditionalInfo::GetName() const { return "additional_info"; }
const char* PeripheralInfo::DisplayName::GetName() const { return "display_name"; }
const char* PeripheralInfo::Manufacturer::GetName() const { return "manufacturer"; }
const char* PeripheralInfo::GetName() const { return "PeripheralInfo"; }
