// A string leaf whose key is chosen at run time (free key/value pairs).
#ifndef DEVMGMT_PLATFORM_KEYVALUESTRINGELEMENT_H_
#define DEVMGMT_PLATFORM_KEYVALUESTRINGELEMENT_H_

#include <memory>

#include "IStringElement.h"

class DM_EXPORT KeyValueStringElement : public IStringElement {
 public:
  KeyValueStringElement() = default;
  ~KeyValueStringElement() override;

  // Copies the name; a fresh element has none and answers "".
  void SetName(const char* name);
  const char* GetName() const override { return m_name ? m_name.get() : ""; }

 private:
  std::unique_ptr<char[]> m_name;
};

#endif  // DEVMGMT_PLATFORM_KEYVALUESTRINGELEMENT_H_
