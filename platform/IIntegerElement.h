// Integer leaves: a 32-bit signed value, decimal text, 4 machine-order bytes.
//
// IInteger is the generic leaf for records whose children are told apart by
// position only.
#ifndef DEVMGMT_PLATFORM_IINTEGERELEMENT_H_
#define DEVMGMT_PLATFORM_IINTEGERELEMENT_H_

#include <cstdint>

#include "ISerializable.h"

class DM_EXPORT IIntegerElement : public ISerializable {
 public:
  explicit IIntegerElement(int32_t value = 0) : m_value(value) {}
  ~IIntegerElement() override;

  void SetValue(int32_t value) { m_value = value; }
  int32_t GetValue() const { return m_value; }

  int getElementType() const override { return kElementInteger; }
  std::string getValueAsString() const override;
  // Accepts an optional sign and decimal digits only, within 32 bits.
  bool SetValue(const char* text, int length) override;
  void getValueAsBinary(BinaryBuffer& out) const override;
  bool SetBinaryValue(BinaryReader& in) override;

 private:
  int32_t m_value;
};

class DM_EXPORT IInteger : public IIntegerElement {
 public:
  using IIntegerElement::IIntegerElement;
  ~IInteger() override;
  const char* GetName() const override { return "BasicSerializableInteger"; }
};

#endif  // DEVMGMT_PLATFORM_IINTEGERELEMENT_H_
