// Record trees: their leaves' text rules, and their JSON and binary forms.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "platform/SampleRecord.h"
#include "platform/uJson.h"
#include "support/JsonText.h"
#include "support/LogCapture.h"

namespace {

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
}

TEST(Json, ReadingIgnoresKeyOrderAndUnknownKeysAndFollowsTheLeafRules) {
  SampleRecord read;
  read.text.SetValue(std::string("replaced"));
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, R"({
    "tags": ["red", ""], "unknown": {"nested": [1, {"deep": null}], "s": "x"},
    "items": [{"weight": 10, "extra": [], "label": "first"}, {"label": "", "weight": -3}],
    "inner": {"enabled": true, "level": 2147483647, "other": false},
    "note": "", "text": "quote \" slash \\ tab \t \u00e9", "count": -2147483648, "flag": 1, "trailing": 12.5e3})"));
  EXPECT_EQ(kFilledJson, ToJson(read));
  // Absent keys leave values alone, null unsets a string and leaves others,
  // and scalars are read by their leaf's text rule.
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, R"({"note": null, "count": null, "text": 17, "flag": "yes"})"));
  EXPECT_FALSE(read.note.IsSet());
  EXPECT_EQ(INT32_MIN, read.count.GetValue());
  const std::pair<const char*, int> numbers[] = {{"+17", 17}, {"-2147483648", INT32_MIN}, {"2147483647", INT32_MAX}};
  for (const auto& n : numbers) {  // text is read as a whole decimal number
    ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, R"({"count": ")" + std::string(n.first) + "\"}"));
    EXPECT_EQ(n.second, read.count.GetValue()) << n.first;
  }
  EXPECT_STREQ("17", read.text.GetValue());
  EXPECT_FALSE(read.flag.GetValue());  // the first character decides: only 1, T or t is true
  read.inner.enabled.SetValue(false);
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(read, R"({"inner": {"enabled": "tomato"}})"));
  EXPECT_TRUE(read.inner.enabled.GetValue());
  EXPECT_EQ(INT32_MAX, read.inner.level.GetValue());
}

TEST(Json, MalformedMismatchedTruncatedOrDeepInputFailsWithOneLine) {
  std::vector<std::string> bad = {"", "[]", "null", R"({"count": 1} trailing)", R"({"count": 1,})", R"({"flag": {}})",
                                  R"({"text": []})", R"({"inner": 5})", R"({"items": {}})", R"({"items": [1]})",
                                  R"({"count": "abc"})", R"({"count": " 5"})", R"({"count": "0x10"})", R"({"count": "-2147483649"})",
                                  R"({"count": "12a"})", R"({"count": 2147483648})", R"({"count": true})",
                                  "{\"x\":" + std::string(100000, '[') + std::string(100000, ']') + "}"};
  for (size_t length = 0; length < sizeof kFilledJson - 1; ++length) bad.emplace_back(kFilledJson, length);
  for (const std::string& text : bad) {
    LogCapture log;
    SampleRecord record;
    std::unique_ptr<char[]> copy(new char[text.size() + 1]);  // exact size: a read past it is caught
    std::memcpy(copy.get(), text.data(), text.size());
    EXPECT_EQ(0, uJson::DeSerializer::DeSerialize(record, copy.get(), text.size())) << text.substr(0, 60);
    EXPECT_EQ(1u, log.lines().size()) << text.substr(0, 60);
    EXPECT_TRUE(log.Logged(VM_LOG_MODULE_PLATFORM, LOG_ERR, "uJson", "DeSerialize", "Failed to deserialize SampleRecord"));
  }
  SampleRecord record;
  EXPECT_EQ(0, uJson::DeSerializer::DeSerialize(record, nullptr, 10));
}

void AppendWord(std::vector<uint8_t>& bytes, uint32_t word, const char* text = nullptr) {
  const uint8_t* raw = reinterpret_cast<const uint8_t*>(&word);
  bytes.insert(bytes.end(), raw, raw + 4);
  if (text != nullptr) bytes.insert(bytes.end(), text, text + word);
}

TEST(BinaryForm, LayoutIsFieldsInOrderWithMachineOrderWords) {
  SampleRecord record;
  record.flag.SetValue(true);
  record.count.SetValue(0x01020304);
  record.text.SetValue(std::string("ab"));  // note stays unset
  record.inner.level.SetValue(-1);
  record.items.Append()->label.SetValue(std::string(""));
  record.items.at(0)->weight.SetValue(5);
  std::vector<uint8_t> expected = {'t'};
  AppendWord(expected, 0x01020304);
  AppendWord(expected, 2, "ab");
  AppendWord(expected, 0xFFFFFFFFu);  // unset note
  AppendWord(expected, 0xFFFFFFFFu);  // inner.level -1
  expected.push_back('f');            // inner.enabled
  AppendWord(expected, 1);            // one item
  AppendWord(expected, 0, "");
  AppendWord(expected, 5);
  AppendWord(expected, 0);  // no tags
  EXPECT_EQ(expected, ToBinary(record));
}

TEST(BinaryForm, RoundTripKeepsUnsetStringsReplacesListsAndStopsAfterTheRecord) {
  SampleRecord written, read;
  written.Fill();
  read.Fill();
  read.Fill();  // four items before the read
  std::vector<uint8_t> bytes = ToBinary(written);
  bytes.push_back(0xAB);  // a field that follows the record
  BinaryReader in(bytes.data(), bytes.size());
  ASSERT_NE(0, uBinary::DeSerializer::DeSerialize(read, in));
  EXPECT_EQ(ToBinary(written), ToBinary(read));
  EXPECT_EQ(bytes.size() - 1, in.consumed());
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
  AppendWord(long_text, 0xFFFFFFFEu);  // text longer than the message; wraps a 32-bit position
  long_text.insert(long_text.end(), 16, 'a');
  EXPECT_EQ(0, uBinary::DeSerializer::DeSerialize(read, long_text.data(), long_text.size()));
}

}  // namespace
