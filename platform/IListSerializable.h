// Owning lists of serialisable items.
//
// A list is an array in JSON and a 4-byte count followed by the items in the
// binary form. The readers append items through CreateChildByIndex (or
// CreateChildByName), so a list type only has to say what an item is.
#ifndef DEVMGMT_PLATFORM_ILISTSERIALIZABLE_H_
#define DEVMGMT_PLATFORM_ILISTSERIALIZABLE_H_

#include <cstring>
#include <memory>
#include <vector>

#include "ISerializable.h"

class DM_EXPORT IListSerializableBase : public ISerializable {
 public:
  ~IListSerializableBase() override;
  int getElementType() const override { return kElementList; }
};

template <typename T>
class IListSerializable : public IListSerializableBase {
 public:
  using Items = std::vector<std::unique_ptr<T>>;

  size_t GetChildCount() const override { return m_items.size(); }
  ISerializable* GetChild(size_t index) override {
    return index < m_items.size() ? m_items[index].get() : nullptr;
  }

  // Appends a new default item; the index only documents the reader's position.
  ISerializable* CreateChildByIndex(int /*index*/) override { return Append(); }

  // Appends a new item only when a fresh item answers the requested name.
  ISerializable* CreateChildByName(const char* name) override {
    std::unique_ptr<T> item(new T());
    const char* own = item->GetName();
    if (name == nullptr || own == nullptr || std::strcmp(name, own) != 0) return nullptr;
    m_items.push_back(std::move(item));
    return m_items.back().get();
  }

  void ClearChildren() override { m_items.clear(); }

  T* Append() {
    m_items.emplace_back(new T());
    return m_items.back().get();
  }
  size_t size() const { return m_items.size(); }
  T* at(size_t index) const { return m_items.at(index).get(); }
  typename Items::const_iterator GetListIteratorBegin() const { return m_items.begin(); }
  typename Items::const_iterator GetListIteratorEnd() const { return m_items.end(); }

 private:
  Items m_items;
};

#endif  // DEVMGMT_PLATFORM_ILISTSERIALIZABLE_H_
