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
