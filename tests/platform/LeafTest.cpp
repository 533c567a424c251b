#include <gtest/gtest.h>

#include <string>

#include "platform/IBoolElement.h"
#include "platform/IIntegerElement.h"
#include "platform/IListSerializable.h"
#include "platform/IStringElement.h"
#include "platform/KeyValueStringElement.h"
#include "platform/SampleRecord.h"

namespace {

TEST(Leaves, ElementTypesAndGenericNames) {
  IInteger integer;
  IString text;
  SampleRecord record;
  EXPECT_EQ(0, record.flag.getElementType());
  EXPECT_EQ(1, integer.getElementType());
  EXPECT_EQ(2, text.getElementType());
  EXPECT_EQ(1001, record.getElementType());
  EXPECT_EQ(1003, record.items.getElementType());
  EXPECT_EQ(1002, record.tags.getElementType());
  EXPECT_STREQ("BasicSerializableInteger", integer.GetName());
  EXPECT_STREQ("BasicSerializableString", text.GetName());
}

TEST(Leaves, BoolTextRuleLooksAtTheFirstCharacterOnly) {
  SampleRecord::Flag flag;
  for (const char* text : {"1", "T", "t", "True", "true", "tomato", "10"}) {
    flag.SetValue(false);
    EXPECT_TRUE(flag.SetValue(text, -1));
    EXPECT_TRUE(flag.GetValue()) << text;
  }
  for (const char* text : {"0", "yes", "", "F", " true", "Y"}) {
    flag.SetValue(true);
    EXPECT_TRUE(flag.SetValue(text, -1));
    EXPECT_FALSE(flag.GetValue()) << text;
  }
  flag.SetValue(false);
  EXPECT_TRUE(flag.SetValue("t", 0));  // zero length: nothing to read
  EXPECT_FALSE(flag.GetValue());
  EXPECT_EQ("false", flag.getValueAsString());
  flag.SetValue(true);
  EXPECT_EQ("true", flag.getValueAsString());
}

TEST(Leaves, IntegerTextParseIsStrictDecimal) {
  IInteger value;
  EXPECT_TRUE(value.SetValue("-2147483648", -1));
  EXPECT_EQ(INT32_MIN, value.GetValue());
  EXPECT_TRUE(value.SetValue("+17", -1));
  EXPECT_EQ(17, value.GetValue());
  EXPECT_TRUE(value.SetValue("12345", 2));  // only the given length counts
  EXPECT_EQ(12, value.GetValue());
  for (const char* bad : {"", "abc", "12a", " 5", "5 ", "0x10", "2147483648", "-2147483649", "1.0"}) {
    EXPECT_FALSE(value.SetValue(bad, -1)) << bad;
    EXPECT_EQ(12, value.GetValue()) << bad;
  }
  EXPECT_FALSE(value.SetValue(nullptr, 3));
  EXPECT_EQ("12", value.getValueAsString());
}

TEST(Leaves, StringKnowsUnsetFromEmpty) {
  IString text;
  EXPECT_FALSE(text.IsSet());
  EXPECT_EQ(nullptr, text.GetValue());
  EXPECT_EQ("", text.getValueAsString());
  EXPECT_TRUE(text.SetValue("", -1));
  EXPECT_TRUE(text.IsSet());
  EXPECT_STREQ("", text.GetValue());
  EXPECT_TRUE(text.SetValue("abcdef", 3));
  EXPECT_STREQ("abc", text.GetValue());
  EXPECT_TRUE(text.SetValue(nullptr, -1));
  EXPECT_FALSE(text.IsSet());
  const char with_nul[] = {'a', '\0', 'b'};
  text.SetValue(with_nul, 3);
  EXPECT_EQ(std::string(with_nul, 3), text.GetString());
}

TEST(Lists, KeyValueElementsOwnTheirNames) {
  SampleRecord::Tags tags;
  KeyValueStringElement* element = tags.Append();
  EXPECT_STREQ("", element->GetName());
  {
    std::string key = "UD_line1";
    element->SetName(key.c_str());
    key.assign("overwritten");
  }
  EXPECT_STREQ("UD_line1", element->GetName());
  // A fresh key/value element has no name, so only "" makes one by name.
  EXPECT_EQ(nullptr, tags.CreateChildByName("UD_line1"));
  EXPECT_EQ(1u, tags.size());
  EXPECT_NE(nullptr, tags.CreateChildByName(""));
  EXPECT_EQ(2u, tags.size());
}

TEST(Lists, CreateChildByNameMatchesTheItemName) {
  SampleRecord::Items items;
  EXPECT_EQ(nullptr, items.CreateChildByName("other"));
  EXPECT_EQ(nullptr, items.CreateChildByName(nullptr));
  ISerializable* item = items.CreateChildByName("items");
  ASSERT_NE(nullptr, item);
  EXPECT_EQ(item, items.GetChild(0));
  EXPECT_NE(nullptr, items.CreateChildByIndex(99));  // appends whatever the index
  EXPECT_EQ(2u, items.GetChildCount());
  EXPECT_EQ(nullptr, items.GetChild(2));
  int seen = 0;
  for (auto it = items.GetListIteratorBegin(); it != items.GetListIteratorEnd(); ++it) ++seen;
  EXPECT_EQ(2, seen);
  items.ClearChildren();
  EXPECT_EQ(0u, items.size());
}

}  // namespace
