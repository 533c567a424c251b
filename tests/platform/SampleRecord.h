// A record with every kind of node, shared by the serialisation tests.
#ifndef DEVMGMT_TESTS_PLATFORM_SAMPLERECORD_H_
#define DEVMGMT_TESTS_PLATFORM_SAMPLERECORD_H_

#include "platform/IBoolElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IIntegerElement.h"
#include "platform/IListSerializable.h"
#include "platform/IStringElement.h"
#include "platform/KeyValueStringElement.h"

class SampleItem : public IElementSerializable {
 public:
  struct Label : IStringElement {
    const char* GetName() const override { return "label"; }
  };
  struct Weight : IIntegerElement {
    const char* GetName() const override { return "weight"; }
  };
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
  struct Flag : IBoolElement {
    const char* GetName() const override { return "flag"; }
  };
  struct Count : IIntegerElement {
    Count() : IIntegerElement(-1) {}
    const char* GetName() const override { return "count"; }
  };
  struct Text : IStringElement {
    const char* GetName() const override { return "text"; }
  };
  struct Note : IStringElement {
    const char* GetName() const override { return "note"; }
  };
  struct Inner : IElementSerializable {
    struct Level : IIntegerElement {
      const char* GetName() const override { return "level"; }
    };
    struct Enabled : IBoolElement {
      const char* GetName() const override { return "enabled"; }
    };
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
  struct Tags : IListSerializable<KeyValueStringElement> {
    const char* GetName() const override { return "tags"; }
  };

  SampleRecord() {
    AddChildToElementInConstructor(&flag);
    AddChildToElementInConstructor(&count);
    AddChildToElementInConstructor(&text);
    AddChildToElementInConstructor(&note);
    AddChildToElementInConstructor(&inner);
    AddChildToElementInConstructor(&items);
    AddChildToElementInConstructor(&tags);
  }
  const char* GetName() const override { return "SampleRecord"; }

  // Fills every node with values that differ from the defaults.
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
    SampleItem* second = items.Append();  // label left unset
    second->weight.SetValue(-3);
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
