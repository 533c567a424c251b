// A record with every kind of node, shared by the serialisation and IPC tests.
#ifndef DEVMGMT_TESTS_PLATFORM_SAMPLERECORD_H_
#define DEVMGMT_TESTS_PLATFORM_SAMPLERECORD_H_

#include "platform/IBoolElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IIntegerElement.h"
#include "platform/IListSerializable.h"
#include "platform/IStringElement.h"
#include "platform/KeyValueStringElement.h"

// A child class whose only difference is its JSON key.
#define SAMPLE_NODE(Class, Base, key) \
  struct Class : Base {               \
    const char* GetName() const override { return key; } \
  }

class SampleItem : public IElementSerializable {
 public:
  SAMPLE_NODE(Label, IStringElement, "label");
  SAMPLE_NODE(Weight, IIntegerElement, "weight");
  SampleItem() {
    AddChildToElementInConstructor(&label);
    AddChildToElementInConstructor(&weight);
  }
  const char* GetName() const override { return "items"; }
  Label label;
  Weight weight;
};

class SampleRecord : public IElementSerializable {
 public:
  SAMPLE_NODE(Flag, IBoolElement, "flag");
  struct Count : IIntegerElement {
    Count() : IIntegerElement(-1) {}
    const char* GetName() const override { return "count"; }
  };
  SAMPLE_NODE(Text, IStringElement, "text");
  SAMPLE_NODE(Note, IStringElement, "note");
  struct Inner : IElementSerializable {
    SAMPLE_NODE(Level, IIntegerElement, "level");
    SAMPLE_NODE(Enabled, IBoolElement, "enabled");
    Inner() {
      AddChildToElementInConstructor(&level);
      AddChildToElementInConstructor(&enabled);
    }
    const char* GetName() const override { return "inner"; }
    Level level;
    Enabled enabled;
  };
  struct Items : IListSerializable<SampleItem> {
    int getElementType() const override { return kElementOwnedList; }
    const char* GetName() const override { return "items"; }
  };
  SAMPLE_NODE(Tags, IListSerializable<KeyValueStringElement>, "tags");

  SampleRecord() {
    for (ISerializable* child : std::initializer_list<ISerializable*>{&flag, &count, &text, &note, &inner, &items, &tags})
      AddChildToElementInConstructor(child);
  }
  const char* GetName() const override { return "SampleRecord"; }

  // Fills every node with values that differ from the defaults; the second
  // item's label stays unset.
  void Fill() {
    flag.SetValue(true);
    count.SetValue(-2147483647 - 1);
    text.SetValue(std::string("quote \" slash \\ tab \t \xc3\xa9"));
    note.SetValue(std::string());
    inner.level.SetValue(2147483647);
    inner.enabled.SetValue(true);
    SampleItem* first = items.Append();
    first->label.SetValue(std::string("first"));
    first->weight.SetValue(10);
    items.Append()->weight.SetValue(-3);
    tags.Append()->SetValue(std::string("red"));
    tags.Append()->SetValue(std::string(""));
  }

  Flag flag;
  Count count;
  Text text;
  Note note;
  Inner inner;
  Items items;
  Tags tags;
};

// Two records are equal when every node holds the same value and set state.
inline bool SameTree(const ISerializable& a, const ISerializable& b) {
  if (a.getElementType() != b.getElementType()) return false;
  if (a.IsLeaf()) return a.getValueAsString() == b.getValueAsString() && a.IsSet() == b.IsSet();
  if (a.GetChildCount() != b.GetChildCount()) return false;
  for (size_t i = 0; i < a.GetChildCount(); ++i) {
    if (!SameTree(*a.GetChild(i), *b.GetChild(i))) return false;
  }
  return true;
}

#endif  // DEVMGMT_TESTS_PLATFORM_SAMPLERECORD_H_
