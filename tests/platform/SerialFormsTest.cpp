// Record trees: their leaves' text rules, and their JSON and binary forms.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/SampleRecord.h"
#include "platform/uBinary.h"
#include "platform/uJson.h"
#include "support/LogCapture.h"

namespace {

TEST(Leaves, ElementTypesAndGenericNames) {
  IInteger integer;
  IString text;
  SampleRecord record;
  const int types[] = {record.flag.getElementType(), integer.getElementType(), text.getElementType(),
                       record.getElementType(), record.tags.getElementType(), record.items.getElementType()};
  EXPECT_EQ((std::vector<int>{0, 1, 2, 1001, 1002, 1003}), std::vector<int>(types, types + 6));
  EXPECT_STREQ("BasicSerializableInteger", integer.GetName());
  EXPECT_STREQ("BasicSerializableString", text.GetName());
}

TEST(Leaves, TextRulesOfBoolIntegerAndString) {
  SampleRecord::Flag flag;
  for (const char* text : {"1", "T", "t", "True", "tomato", "10", "0", "yes", "", "F", " true", "Y"}) {
    const bool expected = text[0] == '1' || text[0] == 'T' || text[0] == 't';  // the first character only
    flag.SetValue(!expected);
    EXPECT_TRUE(flag.SetValue(text, -1));
    EXPECT_EQ(expected, flag.GetValue()) << text;
    EXPECT_EQ(expected ? "true" : "false", flag.getValueAsString());
  }
  EXPECT_TRUE(flag.SetValue("t", 0));  // zero length: nothing to read
  EXPECT_FALSE(flag.GetValue());

  IInteger value;
  const std::pair<const char*, int> good[] = {{"-2147483648", INT32_MIN}, {"2147483647", INT32_MAX}, {"+17", 17}};
  for (const auto& g : good) {
    EXPECT_TRUE(value.SetValue(g.first, -1));
    EXPECT_EQ(g.second, value.GetValue());
  }
  EXPECT_TRUE(value.SetValue("12345", 2));  // only the given length counts
  for (const char* bad : {"", "abc", "12a", " 5", "5 ", "0x10", "2147483648", "-2147483649", "1.0"}) {
    EXPECT_FALSE(value.SetValue(bad, -1)) << bad;
  }
  EXPECT_FALSE(value.SetValue(nullptr, 3));
  EXPECT_EQ("12", value.getValueAsString());

  IString text;
  EXPECT_FALSE(text.IsSet());
  EXPECT_EQ(nullptr, text.GetValue());
  EXPECT_TRUE(text.SetValue("", -1));
  EXPECT_TRUE(text.IsSet());
  EXPECT_STREQ("", text.GetValue());
  EXPECT_TRUE(text.SetValue("abcdef", 3));
  EXPECT_STREQ("abc", text.GetValue());
  EXPECT_TRUE(text.SetValue(nullptr, -1));
  EXPECT_FALSE(text.IsSet());
  text.SetValue("a\0b", 3);
  EXPECT_EQ(std::string("a\0b", 3), text.GetString());
}

TEST(Lists, ChildrenAreMadeByItemNameOrIndexAndKeyValueNamesAreOwned) {
  SampleRecord::Items items;
  EXPECT_EQ(nullptr, items.CreateChildByName("other"));
  EXPECT_EQ(nullptr, items.CreateChildByName(nullptr));
  ISerializable* item = items.CreateChildByName("items");
  ASSERT_NE(nullptr, item);
  EXPECT_EQ(item, items.GetChild(0));
  EXPECT_NE(nullptr, items.CreateChildByIndex(99));  // appends whatever the index
  EXPECT_EQ(nullptr, items.GetChild(2));
  EXPECT_EQ(2, std::distance(items.GetListIteratorBegin(), items.GetListIteratorEnd()));
  items.ClearChildren();
  EXPECT_EQ(0u, items.GetChildCount());

  SampleRecord::Tags tags;
  KeyValueStringElement* element = tags.Append();
  std::string key = "UD_line1";
  element->SetName(key.c_str());
  key.assign("overwritten");
  EXPECT_STREQ("UD_line1", element->GetName());
  EXPECT_EQ(nullptr, tags.CreateChildByName("UD_line1"));  // a fresh element has no name yet
  EXPECT_NE(nullptr, tags.CreateChildByName(""));
  EXPECT_EQ(2u, tags.size());
}

std::string ToJson(const ISerializable& root) {
  std::string text;
  EXPECT_EQ(0, uJson::Serializer::Serialize(root, text));
  return text;
}

const char kFilledJson[] =
    R"({"flag":true,"count":-2147483648,"text":"quote \" slash \\ tab \t é","note":"",)"
    R"("inner":{"level":2147483647,"enabled":true},"items":[{"label":"first","weight":10},)"
    R"({"label":"","weight":-3}],"tags":["red",""]})";

TEST(Json, RecordsAreWrittenWholeInRegistrationOrder) {
  SampleRecord record;
  EXPECT_EQ(R"({"flag":false,"count":-1,"text":"","note":"","inner":{"level":0,"enabled":false},)"
            R"("items":[],"tags":[]})",
            ToJson(record));
  record.Fill();
  EXPECT_EQ(kFilledJson, ToJson(record));
}

TEST(Json, FixedBufferFormWritesAllOrNothingWithinItsSize) {
  SampleRecord record;
  record.Fill();
  const size_t needed = std::strlen(kFilledJson) + 1;
  for (size_t size = 1; size <= needed; ++size) {
    std::vector<char> memory(size + 8, '#');  // guard bytes after the buffer; ASan watches the block too
    EXPECT_EQ(size == needed ? 0 : -1, uJson::Serializer::Serialize(record, memory.data(), size)) << size;
    EXPECT_EQ(size == needed ? kFilledJson : "", std::string(memory.data())) << size;
    EXPECT_EQ(std::string(8, '#'), std::string(memory.data() + size, 8)) << size;
  }
  LogCapture log;
  char none = 'z';
  EXPECT_EQ(-1, uJson::Serializer::Serialize(record, &none, 0));
  EXPECT_EQ(-1, uJson::Serializer::Serialize(record, nullptr, 10));
  EXPECT_EQ('z', none);
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uJson", "Serialize", "No buffer to serialize SampleRecord"));
}

TEST(Json, ReadingIgnoresKeyOrderAndUnknownKeys) {
  const char* shuffled = R"({
    "tags": ["red", ""], "unknown": {"nested": [1, {"deep": null}], "s": "x"},
    "items": [{"weight": 10, "extra": [], "label": "first"}, {"label": "", "weight": -3}],
    "inner": {"enabled": true, "level": 2147483647, "other": false},
    "note": "", "text": "quote \" slash \\ tab \t \u00e9", "count": -2147483648,
    "flag": true, "trailing": 12.5e3
  })";
  SampleRecord read;
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, shuffled));
  EXPECT_EQ(kFilledJson, ToJson(read));
  EXPECT_TRUE(read.items.at(1)->label.IsSet());  // JSON has no "unset": "" reads back set and empty
}

TEST(Json, AbsentKeysKeepValuesNullUnsetsAndScalarsFollowTheLeafRules) {
  SampleRecord record;
  record.text.SetValue(std::string("kept"));
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(record, R"({"note": ""})"));
  EXPECT_STREQ("kept", record.text.GetValue());
  EXPECT_TRUE(record.note.IsSet());
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(record, R"({"text": null, "count": null})"));
  EXPECT_FALSE(record.text.IsSet());
  EXPECT_EQ(-1, record.count.GetValue());
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(record, R"({"count": "42", "text": 17})"));
  EXPECT_EQ(42, record.count.GetValue());
  EXPECT_STREQ("17", record.text.GetValue());
  const std::pair<const char*, bool> flags[] = {{"true", true}, {"\"True\"", true}, {"1", true},    {"\"1\"", true},
                                                {"false", false}, {"\"yes\"", false}, {"0", false}, {"\"\"", false}};
  for (const auto& f : flags) {
    record.flag.SetValue(!f.second);
    ASSERT_NE(0, uJson::DeSerializer::DeSerialize(record, std::string("{\"flag\":") + f.first + "}")) << f.first;
    EXPECT_EQ(f.second, record.flag.GetValue()) << f.first;
  }
}

TEST(Json, MalformedMismatchedTruncatedOrDeepInputFailsWithOneLine) {
  std::vector<std::string> bad = {"", "   ", "[]", "\"text\"", "42", "null", R"({"count": 1} trailing)",
                                  R"({"count": 1,})", R"({'count': 1})", R"({"flag": {}})", R"({"text": []})",
                                  R"({"inner": 5})", R"({"inner": []})", R"({"items": {}})", R"({"items": [1]})",
                                  R"({"items": [[]]})", R"({"count": "abc"})", R"({"count": 2147483648})",
                                  R"({"count": 1.5})", R"({"count": true})",
                                  "{\"x\":" + std::string(100000, '[') + std::string(100000, ']') + "}"};
  for (size_t length = 0; length < sizeof kFilledJson - 1; ++length) bad.emplace_back(kFilledJson, length);
  for (const std::string& text : bad) {
    LogCapture log;
    SampleRecord record;
    // An exact-size heap copy, so a read past it is caught.
    std::unique_ptr<char[]> copy(new char[text.size() + 1]);
    std::memcpy(copy.get(), text.data(), text.size());
    EXPECT_EQ(0, uJson::DeSerializer::DeSerialize(record, copy.get(), text.size())) << text.substr(0, 60);
    EXPECT_EQ(1u, log.lines().size()) << text.substr(0, 60);
    EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uJson", "DeSerialize", "Failed to deserialize SampleRecord"));
  }
  SampleRecord record;
  EXPECT_EQ(0, uJson::DeSerializer::DeSerialize(record, nullptr, 10));
}

// Positional records: children share one name and are told apart by order.
TEST(Json, ChildrenSharingANameKeepTheirOrder) {
  struct Positional : IElementSerializable {
    IInteger first, second;
    IString word, other_word;
    Positional() {
      for (ISerializable* child : std::initializer_list<ISerializable*>{&first, &word, &second, &other_word})
        AddChildToElementInConstructor(child);
    }
    const char* GetName() const override { return "Positional"; }
  } written, read;
  written.first.SetValue(7);
  written.word.SetValue(std::string("alpha"));
  written.second.SetValue(9);
  written.other_word.SetValue(std::string("beta"));
  const std::string text = ToJson(written);
  EXPECT_EQ(R"({"BasicSerializableInteger":7,"BasicSerializableString":"alpha",)"
            R"("BasicSerializableInteger":9,"BasicSerializableString":"beta"})",
            text);
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, text));
  EXPECT_TRUE(SameTree(written, read));
}

// Wider than the reader's one-word record of filled children; every name is
// shared by two children, one on each side of child 64.
TEST(Json, WideRecordsFillSharedNamesInTextOrder) {
  constexpr int kHalf = 35;
  struct Wide : IElementSerializable {
    KeyValueStringElement leaves[2 * kHalf];
    Wide() {
      for (int i = 0; i < 2 * kHalf; ++i) {
        leaves[i].SetName(("k" + std::to_string(i % kHalf)).c_str());
        AddChildToElementInConstructor(&leaves[i]);
      }
    }
    const char* GetName() const override { return "Wide"; }
  } read, again;
  // Keys from the last child back: the first "kJ" met fills child J, the second child J + 35.
  std::string text = "{";
  for (int i = 2 * kHalf - 1; i >= 0; --i) {
    text += "\"k" + std::to_string(i % kHalf) + "\":\"v" + std::to_string(i) + "\"" + (i ? "," : "}");
  }
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, text));
  for (int j = 0; j < kHalf; ++j) {
    EXPECT_EQ("v" + std::to_string(j + kHalf), read.leaves[j].GetString());
    EXPECT_EQ("v" + std::to_string(j), read.leaves[j + kHalf].GetString());
  }
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(again, ToJson(read)));  // in the writer's own order
  EXPECT_TRUE(SameTree(read, again));
}

std::vector<uint8_t> ToBinary(const ISerializable& root) {
  BinaryBuffer out;
  EXPECT_EQ(0, uBinary::Serializer::Serialize(root, out));
  return std::vector<uint8_t>(out.data(), out.data() + out.size());
}

void AppendWord(std::vector<uint8_t>& bytes, uint32_t word) {
  const uint8_t* raw = reinterpret_cast<const uint8_t*>(&word);
  bytes.insert(bytes.end(), raw, raw + 4);
}

void AppendText(std::vector<uint8_t>& bytes, const char* text) {
  AppendWord(bytes, static_cast<uint32_t>(std::strlen(text)));
  bytes.insert(bytes.end(), text, text + std::strlen(text));
}

TEST(BinaryForm, LayoutIsFieldsInOrderWithMachineOrderWords) {
  SampleRecord record;
  record.flag.SetValue(true);
  record.count.SetValue(0x01020304);
  record.text.SetValue(std::string("ab"));  // note stays unset
  record.inner.level.SetValue(-1);
  SampleItem* item = record.items.Append();
  item->label.SetValue(std::string(""));
  item->weight.SetValue(5);
  std::vector<uint8_t> expected = {'t'};
  AppendWord(expected, 0x01020304);
  AppendText(expected, "ab");
  AppendWord(expected, 0xFFFFFFFFu);  // unset note
  AppendWord(expected, 0xFFFFFFFFu);  // inner.level -1
  expected.push_back('f');            // inner.enabled
  AppendWord(expected, 1);            // one item
  AppendText(expected, "");
  AppendWord(expected, 5);
  AppendWord(expected, 0);  // no tags
  EXPECT_EQ(expected, ToBinary(record));
}

TEST(BinaryForm, RoundTripKeepsUnsetStringsReplacesListsAndStopsAfterTheRecord) {
  SampleRecord written;
  written.Fill();
  std::vector<uint8_t> bytes = ToBinary(written);
  const size_t record_size = bytes.size();
  bytes.push_back(0xAB);  // a field that follows the record
  SampleRecord read;
  read.Fill();
  read.Fill();  // four items before the read
  BinaryReader in(bytes.data(), bytes.size());
  ASSERT_NE(0, uBinary::DeSerializer::DeSerialize(read, in));
  EXPECT_TRUE(SameTree(written, read));
  EXPECT_FALSE(read.items.at(1)->label.IsSet());
  EXPECT_EQ(record_size, in.consumed());
  uint8_t trailer = 0;
  ASSERT_TRUE(in.ReadByte(&trailer));
  EXPECT_EQ(0xAB, trailer);
  EXPECT_FALSE(in.ReadByte(&trailer));
  size_t consumed = 0;
  ASSERT_NE(0, uBinary::DeSerializer::DeSerialize(read, bytes.data(), record_size, &consumed));
  EXPECT_EQ(record_size, consumed);
}

TEST(BinaryForm, TruncationsAndHostileLengthsAreRefusedWithoutReadingPastTheEnd) {
  SampleRecord written;
  written.Fill();
  const std::vector<uint8_t> bytes = ToBinary(written);
  for (size_t length = 0; length < bytes.size(); ++length) {
    std::unique_ptr<uint8_t[]> copy(new uint8_t[length + 1]);  // ASan reports a read beyond `length`
    std::memcpy(copy.get(), bytes.data(), length);
    SampleRecord read;
    EXPECT_EQ(0, uBinary::DeSerializer::DeSerialize(read, copy.get(), length)) << length;
  }
  LogCapture log;
  std::vector<uint8_t> huge_count = ToBinary(SampleRecord());  // up to the item count, then a huge count
  huge_count.resize(huge_count.size() - 8);
  AppendWord(huge_count, 0x7FFFFFFFu);
  huge_count.push_back(0);
  SampleRecord read;
  EXPECT_EQ(0, uBinary::DeSerializer::DeSerialize(read, huge_count.data(), huge_count.size()));
  EXPECT_EQ(0u, read.items.size());
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uBinary", "DeSerialize", "Truncated or malformed SampleRecord"));
  std::vector<uint8_t> long_text = {'t'};
  AppendWord(long_text, 1);
  AppendWord(long_text, 0xFFFFFFFEu);  // text longer than the message
  long_text.insert(long_text.end(), 16, 'a');
  EXPECT_EQ(0, uBinary::DeSerializer::DeSerialize(read, long_text.data(), long_text.size()));
  EXPECT_EQ(0, uBinary::DeSerializer::DeSerialize(read, nullptr, 100));
}

}  // namespace
