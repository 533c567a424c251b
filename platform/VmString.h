// An owned byte string that also knows "no value" apart from "empty".
//
// String leaves keep their value in a VmString so that a key absent from a
// document (unset) and a key given as "" (empty) stay different.
#ifndef DEVMGMT_PLATFORM_VMSTRING_H_
#define DEVMGMT_PLATFORM_VMSTRING_H_

#include <cstddef>
#include <string>

class VmString {
 public:
  VmString() = default;
  VmString(const char* text, size_t length) { Assign(text, length); }

  // A null text makes the string unset.
  void Assign(const char* text, size_t length) {
    if (text == nullptr) {
      Reset();
      return;
    }
    m_text.assign(text, length);
    m_set = true;
  }
  void Reset() {
    m_text.clear();
    m_set = false;
  }

  bool IsSet() const { return m_set; }
  // Null when unset, else the NUL-terminated bytes.
  const char* c_str() const { return m_set ? m_text.c_str() : nullptr; }
  // The bytes, "" when unset.
  const std::string& str() const { return m_text; }
  size_t size() const { return m_text.size(); }

  bool operator==(const VmString& other) const {
    return m_set == other.m_set && m_text == other.m_text;
  }
  bool operator!=(const VmString& other) const { return !(*this == other); }

 private:
  std::string m_text;
  bool m_set = false;
};

#endif  // DEVMGMT_PLATFORM_VMSTRING_H_
