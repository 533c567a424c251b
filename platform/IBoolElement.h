// A bool leaf: text "true"/"false", one byte 't'/'f' in binary form.
#ifndef DEVMGMT_PLATFORM_IBOOLELEMENT_H_
#define DEVMGMT_PLATFORM_IBOOLELEMENT_H_

#include "ISerializable.h"

class DM_EXPORT IBoolElement : public ISerializable {
 public:
  explicit IBoolElement(bool value = false) : m_value(value) {}
  ~IBoolElement() override;

  virtual void SetValue(bool value) { m_value = value; }
  bool GetValue() const { return m_value; }

  int getElementType() const override { return kElementBool; }
  std::string getValueAsString() const override;
  // True when the text starts with '1', 'T' or 't'; anything else is false.
  bool SetValue(const char* text, int length) override;
  void getValueAsBinary(BinaryBuffer& out) const override;
  bool SetBinaryValue(BinaryReader& in) override;

 private:
  bool m_value;
};

#endif  // DEVMGMT_PLATFORM_IBOOLELEMENT_H_
