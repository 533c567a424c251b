#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/IIntegerElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IStringElement.h"
#include "platform/KeyValueStringElement.h"
#include "platform/uJson.h"
#include "platform/SampleRecord.h"
#include "support/LogCapture.h"

namespace {

std::string ToJson(const ISerializable& root) {
  std::string text;
  EXPECT_EQ(0, uJson::Serializer::Serialize(root, text));
  return text;
}

TEST(JsonWrite, DefaultRecordWritesEveryKeyInRegistrationOrder) {
  SampleRecord record;
  EXPECT_EQ(
      R"({"flag":false,"count":-1,"text":"","note":"","inner":{"level":0,"enabled":false},)"
      R"("items":[],"tags":[]})",
      ToJson(record));
}

TEST(JsonWrite, FixedBufferAndStringFormsAgree) {
  SampleRecord record;
  record.Fill();
  const std::string expected = ToJson(record);
  std::vector<char> buffer(expected.size() + 1, 'x');
  ASSERT_EQ(0, uJson::Serializer::Serialize(record, buffer.data(), buffer.size()));
  EXPECT_EQ(expected, std::string(buffer.data()));
}

TEST(JsonWrite, TextThatDoesNotFitFailsWithoutWritingPastTheBuffer) {
  SampleRecord record;
  record.Fill();
  const size_t needed = ToJson(record).size() + 1;
  for (size_t size = 1; size < needed; ++size) {
    // Guard bytes after the buffer must survive; ASan also watches the heap block.
    std::vector<char> memory(size + 8, '#');
    ASSERT_EQ(-1, uJson::Serializer::Serialize(record, memory.data(), size)) << size;
    EXPECT_EQ('\0', memory[0]);
    EXPECT_EQ(std::string(8, '#'), std::string(memory.data() + size, 8)) << size;
  }
  std::vector<char> exact(needed);
  EXPECT_EQ(0, uJson::Serializer::Serialize(record, exact.data(), exact.size()));
  char none = 'z';
  EXPECT_EQ(-1, uJson::Serializer::Serialize(record, &none, 0));
  EXPECT_EQ('z', none);
}

TEST(JsonRoundTrip, EveryNodeKindSurvives) {
  SampleRecord written;
  written.Fill();
  SampleRecord read;
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, ToJson(written)));
  EXPECT_EQ(ToJson(written), ToJson(read));
  // JSON has no "unset": an unset string is written as "" and reads back empty.
  EXPECT_FALSE(written.items.at(1)->label.IsSet());
  EXPECT_TRUE(read.items.at(1)->label.IsSet());
  read.items.at(1)->label.SetUnset();
  EXPECT_TRUE(SameTree(written, read));
  EXPECT_EQ(INT32_MIN, read.count.GetValue());
  EXPECT_EQ(INT32_MAX, read.inner.level.GetValue());
  ASSERT_EQ(2u, read.items.size());
  EXPECT_EQ(-3, read.items.at(1)->weight.GetValue());
  EXPECT_STREQ("quote \" slash \\ tab \t \xc3\xa9", read.text.GetValue());
}

TEST(JsonRead, KeyOrderAndUnknownKeysDoNotMatter) {
  SampleRecord expected;
  expected.Fill();
  // The unset label of the second item is written as "", so compare against
  // the tree that a round trip gives.
  SampleRecord reference;
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(reference, ToJson(expected)));

  const char* shuffled = R"({
    "tags": ["red", ""], "unknown": {"nested": [1, {"deep": null}], "s": "x"},
    "items": [{"weight": 10, "extra": [], "label": "first"}, {"label": "", "weight": -3}],
    "inner": {"enabled": true, "level": 2147483647, "other": false},
    "note": "", "text": "quote \" slash \\ tab \t \u00e9", "count": -2147483648,
    "flag": true, "trailing": 12.5e3
  })";
  SampleRecord read;
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, shuffled));
  EXPECT_TRUE(SameTree(reference, read)) << ToJson(read);
}

TEST(JsonRead, AbsentEmptyAndNullStringsStayDistinct) {
  SampleRecord record;
  record.text.SetValue(std::string("kept"));
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(record, R"({"note": ""})"));
  EXPECT_STREQ("kept", record.text.GetValue());  // absent: untouched
  ASSERT_NE(nullptr, record.note.GetValue());     // "": set and empty
  EXPECT_TRUE(record.note.IsSet());
  EXPECT_STREQ("", record.note.GetValue());

  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(record, R"({"text": null, "count": null})"));
  EXPECT_FALSE(record.text.IsSet());  // null: unset
  EXPECT_EQ(nullptr, record.text.GetValue());
  EXPECT_EQ(-1, record.count.GetValue());  // null leaves other leaves as they were

  SampleRecord fresh;
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(fresh, "{}"));
  EXPECT_FALSE(fresh.text.IsSet());
  EXPECT_FALSE(fresh.note.IsSet());
}

TEST(JsonRead, ScalarsGoThroughTheLeafTextRule) {
  struct Case {
    const char* json;
    bool flag;
  };
  const Case cases[] = {
      {R"({"flag": true})", true},   {R"({"flag": "True"})", true}, {R"({"flag": "t"})", true},
      {R"({"flag": 1})", true},      {R"({"flag": "1"})", true},    {R"({"flag": false})", false},
      {R"({"flag": "yes"})", false}, {R"({"flag": 0})", false},     {R"({"flag": ""})", false},
  };
  for (const Case& c : cases) {
    SampleRecord record;
    record.flag.SetValue(!c.flag);
    ASSERT_NE(0, uJson::DeSerializer::DeSerialize(record, c.json)) << c.json;
    EXPECT_EQ(c.flag, record.flag.GetValue()) << c.json;
  }
  SampleRecord record;
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(record, R"({"count": "42", "text": 17})"));
  EXPECT_EQ(42, record.count.GetValue());
  EXPECT_STREQ("17", record.text.GetValue());
}

TEST(JsonRead, MalformedOrMismatchedInputFailsCleanly) {
  const char* bad[] = {
      "",
      "   ",
      "[]",
      "\"text\"",
      "42",
      "null",
      R"({"count": 1} trailing)",
      R"({"count": 1,})",
      R"({"count": 1)",
      R"({'count': 1})",
      R"({"flag": {}})",
      R"({"text": []})",
      R"({"inner": 5})",
      R"({"inner": []})",
      R"({"items": {}})",
      R"({"items": [1]})",
      R"({"items": [[]]})",
      R"({"count": "abc"})",
      R"({"count": 2147483648})",
      R"({"count": 1.5})",
      R"({"count": true})",
  };
  for (const char* text : bad) {
    LogCapture log;
    SampleRecord record;
    EXPECT_EQ(0, uJson::DeSerializer::DeSerialize(record, text)) << text;
    EXPECT_TRUE(log.Contains(LOG_ERR, "Failed to deserialize SampleRecord")) << text;
  }
  SampleRecord record;
  EXPECT_EQ(0, uJson::DeSerializer::DeSerialize(record, nullptr, 10));
}

TEST(JsonRead, EveryTruncationOfAValidDocumentFails) {
  SampleRecord written;
  written.Fill();
  const std::string text = ToJson(written);
  for (size_t length = 0; length < text.size(); ++length) {
    // A heap copy of exactly `length` bytes, so a read past it is caught.
    std::unique_ptr<char[]> copy(new char[length == 0 ? 1 : length]);
    std::memcpy(copy.get(), text.data(), length);
    SampleRecord read;
    EXPECT_EQ(0, uJson::DeSerializer::DeSerialize(read, copy.get(), length)) << length;
  }
}

TEST(JsonRead, HostileNestingIsRefused) {
  const std::string deep_unknown = "{\"x\":" + std::string(100000, '[') + std::string(100000, ']') + "}";
  SampleRecord record;
  EXPECT_EQ(0, uJson::DeSerializer::DeSerialize(record, deep_unknown));
}

// Positional records: children share one name and are told apart by order.
class PositionalRecord : public IElementSerializable {
 public:
  PositionalRecord() {
    AddChildToElementInConstructor(&first);
    AddChildToElementInConstructor(&word);
    AddChildToElementInConstructor(&second);
    AddChildToElementInConstructor(&other_word);
  }
  const char* GetName() const override { return "PositionalRecord"; }
  IInteger first;
  IString word;
  IInteger second;
  IString other_word;
};

TEST(JsonRoundTrip, ChildrenSharingANameKeepTheirOrder) {
  PositionalRecord written;
  written.first.SetValue(7);
  written.word.SetValue(std::string("alpha"));
  written.second.SetValue(9);
  written.other_word.SetValue(std::string("beta"));
  const std::string text = ToJson(written);
  EXPECT_EQ(R"({"BasicSerializableInteger":7,"BasicSerializableString":"alpha",)"
            R"("BasicSerializableInteger":9,"BasicSerializableString":"beta"})",
            text);
  PositionalRecord read;
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, text));
  EXPECT_TRUE(SameTree(written, read));
}

// Wider than the reader's one-word record of filled children; every name is
// shared by two children, one on each side of child 64.
TEST(JsonRead, WideRecordsFillSharedNamesInTextOrder) {
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
  };
  // Keys from the last child back: the first "kJ" met fills child J, the second child J + 35.
  std::string text = "{";
  for (int i = 2 * kHalf - 1; i >= 0; --i) {
    text += "\"k" + std::to_string(i % kHalf) + "\":\"v" + std::to_string(i) + "\"";
    text += i ? "," : "}";
  }
  Wide read;
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, text));
  for (int j = 0; j < kHalf; ++j) {
    EXPECT_EQ("v" + std::to_string(j + kHalf), read.leaves[j].GetString());
    EXPECT_EQ("v" + std::to_string(j), read.leaves[j + kHalf].GetString());
  }
  Wide again;  // in the writer's own order
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(again, ToJson(read)));
  EXPECT_TRUE(SameTree(read, again));
}

}  // namespace
