// The node of every serialisable tree: records, lists and leaves.
//
// A record (IElementSerializable) holds children in registration order, a list
// (IListSerializable<T>) owns items it creates on demand, and a leaf holds one
// bool, integer or string value. The JSON writer and reader (uJson) and the
// binary form (uBinary) walk trees only through this interface.
#ifndef DEVMGMT_PLATFORM_ISERIALIZABLE_H_
#define DEVMGMT_PLATFORM_ISERIALIZABLE_H_

#include <cstddef>
#include <string>

#include "BinaryBuffer.h"
#include "DmExport.h"

// Values of getElementType(); they are part of the wire format.
enum ElementType : int {
  kElementBool = 0,
  kElementInteger = 1,
  kElementString = 2,
  kElementRecord = 1001,
  kElementList = 1002,
  kElementOwnedList = 1003,  // the lists that declare their own item kind
};

class DM_EXPORT ISerializable {
 public:
  ISerializable() = default;
  ISerializable(const ISerializable&) = delete;
  ISerializable& operator=(const ISerializable&) = delete;
  virtual ~ISerializable();

  // The JSON key of this node; a root record answers its class name.
  virtual const char* GetName() const = 0;
  virtual int getElementType() const = 0;

  bool IsLeaf() const { return getElementType() < kElementRecord; }
  bool IsList() const {
    return getElementType() == kElementList || getElementType() == kElementOwnedList;
  }

  // Leaves: the text form and its parse. SetValue returns false, leaving the
  // value as it was, when the text is not a value of the leaf's kind; a length
  // of -1 means up to the terminating NUL.
  virtual std::string getValueAsString() const;
  virtual bool SetValue(const char* text, int length);
  // Leaves: false only for a string leaf that holds no value.
  virtual bool IsSet() const;
  // Leaves: forget the value (a string becomes unset, others keep theirs).
  virtual void SetUnset();

  // Leaves: the binary form. SetBinaryValue consumes exactly the leaf's bytes
  // or returns false.
  virtual void getValueAsBinary(BinaryBuffer& out) const;
  virtual bool SetBinaryValue(BinaryReader& in);

  // Records and lists: children in document order.
  virtual size_t GetChildCount() const;
  virtual ISerializable* GetChild(size_t index);
  const ISerializable* GetChild(size_t index) const {
    return const_cast<ISerializable*>(this)->GetChild(index);
  }

  // Lists: append a new empty item (by position or by the key the reader met)
  // and return it; null when the list cannot make one. ClearChildren drops
  // every item.
  virtual ISerializable* CreateChildByIndex(int index);
  virtual ISerializable* CreateChildByName(const char* name);
  virtual void ClearChildren();
};

#endif  // DEVMGMT_PLATFORM_ISERIALIZABLE_H_
