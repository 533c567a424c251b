// String leaves: owned bytes that may also be unset (no value at all).
//
// The binary form is a 4-byte machine-order length, 0xFFFFFFFF for unset,
// then the bytes. IString is the generic leaf for positional records.
#ifndef DEVMGMT_PLATFORM_ISTRINGELEMENT_H_
#define DEVMGMT_PLATFORM_ISTRINGELEMENT_H_

#include <string>

#include "ISerializable.h"
#include "VmString.h"

class DM_EXPORT IStringElement : public ISerializable {
 public:
  IStringElement() = default;
  ~IStringElement() override;

  // Null when unset.
  const char* GetValue() const { return m_value.c_str(); }
  // "" when unset.
  const std::string& GetString() const { return m_value.str(); }
  const VmString& GetVmString() const { return m_value; }
  void SetValue(const std::string& value) { m_value.Assign(value.data(), value.size()); }

  int getElementType() const override { return kElementString; }
  std::string getValueAsString() const override { return m_value.str(); }
  // A null text makes the leaf unset.
  bool SetValue(const char* text, int length) override;
  bool IsSet() const override { return m_value.IsSet(); }
  void SetUnset() override { m_value.Reset(); }
  void getValueAsBinary(BinaryBuffer& out) const override;
  bool SetBinaryValue(BinaryReader& in) override;

 private:
  VmString m_value;
};

class DM_EXPORT IString : public IStringElement {
 public:
  ~IString() override;
  const char* GetName() const override { return "BasicSerializableString"; }
};

#endif  // DEVMGMT_PLATFORM_ISTRINGELEMENT_H_
