// A record with every kind of node, shared by the serialisation and IPC tests.
#ifndef DEVMGMT_TESTS_PLATFORM_SAMPLERECORD_H_
#define DEVMGMT_TESTS_PLATFORM_SAMPLERECORD_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/IBoolElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IIntegerElement.h"
#include "platform/IListSerializable.h"
#include "platform/IStringElement.h"
#include "platform/KeyValueStringElement.h"
#include "platform/uBinary.h"

// A child class whose only difference is its JSON key.
#define SAMPLE_NODE(Class, Base, key) \
  struct Class : Base {               \
    const char* GetName() const override { return key; } \
  }

// Registers children in order: the document order.
inline void AddChildren(IElementSerializable* record, std::initializer_list<ISerializable*> children) {
  for (ISerializable* child : children) record->AddChildToElementInConstructor(child);
}

struct SampleItem : IElementSerializable {
  SAMPLE_NODE(Label, IStringElement, "label") label;
  SAMPLE_NODE(Weight, IIntegerElement, "weight") weight;
  SampleItem() { AddChildren(this, {&label, &weight}); }
  const char* GetName() const override { return "items"; }
};

struct SampleRecord : IElementSerializable {
  SAMPLE_NODE(Flag, IBoolElement, "flag") flag;
  struct Count : IIntegerElement {
    Count() : IIntegerElement(-1) {}
    const char* GetName() const override { return "count"; }
  } count;
  SAMPLE_NODE(Text, IStringElement, "text") text;
  SAMPLE_NODE(Note, IStringElement, "note") note;
  struct Inner : IElementSerializable {
    SAMPLE_NODE(Level, IIntegerElement, "level") level;
    SAMPLE_NODE(Enabled, IBoolElement, "enabled") enabled;
    Inner() { AddChildren(this, {&level, &enabled}); }
    const char* GetName() const override { return "inner"; }
  } inner;
  struct Items : IListSerializable<SampleItem> {
    int getElementType() const override { return kElementOwnedList; }
    const char* GetName() const override { return "items"; }
  } items;
  SAMPLE_NODE(Tags, IListSerializable<KeyValueStringElement>, "tags") tags;

  SampleRecord() { AddChildren(this, {&flag, &count, &text, &note, &inner, &items, &tags}); }
  const char* GetName() const override { return "SampleRecord"; }

  // Fills every node with values that differ from the defaults; the second
  // item's label stays unset.
  void Fill() {
    flag.SetValue(true);
    count.SetValue(INT32_MIN);
    text.SetValue(std::string("quote \" slash \\ tab \t \xc3\xa9"));
    note.SetValue(std::string());
    inner.level.SetValue(INT32_MAX);
    inner.enabled.SetValue(true);
    items.Append()->label.SetValue(std::string("first"));
    items.at(0)->weight.SetValue(10);
    items.Append()->weight.SetValue(-3);
    tags.Append()->SetValue(std::string("red"));
    tags.Append()->SetValue(std::string(""));
  }
};

// The binary form tells every value and set state apart: two trees are
// equal when their binary forms are.
inline std::vector<uint8_t> ToBinary(const ISerializable& root) {
  BinaryBuffer out;
  return uBinary::Serializer::Serialize(root, out) == 0 ? std::vector<uint8_t>(out.data(), out.data() + out.size())
                                                        : std::vector<uint8_t>();
}

#endif  // DEVMGMT_TESTS_PLATFORM_SAMPLERECORD_H_
