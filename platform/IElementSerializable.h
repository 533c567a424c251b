// A record: a named node whose children are registered in constructor order.
//
// Children are usually members of the derived record (nested leaf classes),
// so the record never owns them; the registration order is the order of the
// keys in JSON and of the fields in the binary form. A record cannot be
// copied because its child list points into the object itself.
#ifndef DEVMGMT_PLATFORM_IELEMENTSERIALIZABLE_H_
#define DEVMGMT_PLATFORM_IELEMENTSERIALIZABLE_H_

#include <vector>

#include "ISerializable.h"

class DM_EXPORT IElementSerializable : public ISerializable {
 public:
  ~IElementSerializable() override;

  int getElementType() const override { return kElementRecord; }
  size_t GetChildCount() const override { return m_children.size(); }
  ISerializable* GetChild(size_t index) override;

  // Appends a child; the record keeps the pointer, the caller keeps ownership
  // and must keep the child alive as long as the record. Null is ignored.
  void AddChildToElementInConstructor(ISerializable* child);

 private:
  std::vector<ISerializable*> m_children;
};

#endif  // DEVMGMT_PLATFORM_IELEMENTSERIALIZABLE_H_
