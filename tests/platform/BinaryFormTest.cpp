#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "platform/uBinary.h"
#include "platform/SampleRecord.h"
#include "support/LogCapture.h"

namespace {

std::vector<uint8_t> ToBinary(const ISerializable& root) {
  BinaryBuffer out;
  EXPECT_EQ(0, uBinary::Serializer::Serialize(root, out));
  return std::vector<uint8_t>(out.data(), out.data() + out.size());
}

void AppendWord(std::vector<uint8_t>& bytes, uint32_t word) {
  uint8_t raw[4];
  std::memcpy(raw, &word, 4);
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

TEST(BinaryForm, RoundTripKeepsValuesAndUnsetStrings) {
  SampleRecord written;
  written.Fill();
  const std::vector<uint8_t> bytes = ToBinary(written);
  SampleRecord read;
  size_t consumed = 0;
  ASSERT_NE(0, uBinary::DeSerializer::DeSerialize(read, bytes.data(), bytes.size(), &consumed));
  EXPECT_EQ(bytes.size(), consumed);
  EXPECT_TRUE(SameTree(written, read));
  EXPECT_FALSE(read.items.at(1)->label.IsSet());
  EXPECT_TRUE(read.note.IsSet());
  EXPECT_STREQ("", read.note.GetValue());
}

TEST(BinaryForm, ReadingReplacesListItems) {
  SampleRecord written;
  written.Fill();
  SampleRecord read;
  read.Fill();
  read.Fill();  // four items before the read
  const std::vector<uint8_t> bytes = ToBinary(written);
  ASSERT_NE(0, uBinary::DeSerializer::DeSerialize(read, bytes.data(), bytes.size()));
  EXPECT_EQ(2u, read.items.size());
}

TEST(BinaryForm, EveryTruncationFailsWithoutReadingPastTheEnd) {
  SampleRecord written;
  written.Fill();
  const std::vector<uint8_t> bytes = ToBinary(written);
  for (size_t length = 0; length < bytes.size(); ++length) {
    // An exact-size heap copy: ASan reports any read beyond it.
    std::unique_ptr<uint8_t[]> copy(new uint8_t[length == 0 ? 1 : length]);
    std::memcpy(copy.get(), bytes.data(), length);
    SampleRecord read;
    EXPECT_EQ(0, uBinary::DeSerializer::DeSerialize(read, copy.get(), length)) << length;
  }
}

TEST(BinaryForm, HostileLengthsAndCountsAreRefused) {
  LogCapture log;
  SampleRecord prefix;  // everything up to the item count, then a huge count
  std::vector<uint8_t> bytes = ToBinary(prefix);
  bytes.resize(bytes.size() - 8);
  AppendWord(bytes, 0x7FFFFFFFu);
  bytes.push_back(0);
  SampleRecord read;
  EXPECT_EQ(0, uBinary::DeSerializer::DeSerialize(read, bytes.data(), bytes.size()));
  EXPECT_EQ(0u, read.items.size());
  EXPECT_TRUE(log.Contains(LOG_ERR, "Truncated or malformed SampleRecord"));

  std::vector<uint8_t> long_text = {'t'};
  AppendWord(long_text, 1);
  AppendWord(long_text, 0xFFFFFFFEu);  // text longer than the message
  long_text.insert(long_text.end(), 16, 'a');
  EXPECT_EQ(0, uBinary::DeSerializer::DeSerialize(read, long_text.data(), long_text.size()));
  EXPECT_EQ(0, uBinary::DeSerializer::DeSerialize(read, nullptr, 100));
}

TEST(BinaryForm, ReaderSharedWithOtherFieldsStopsAfterTheRecord) {
  SampleRecord written;
  written.Fill();
  std::vector<uint8_t> bytes = ToBinary(written);
  const size_t record_size = bytes.size();
  bytes.push_back(0xAB);
  BinaryReader in(bytes.data(), bytes.size());
  SampleRecord read;
  ASSERT_NE(0, uBinary::DeSerializer::DeSerialize(read, in));
  EXPECT_EQ(record_size, in.consumed());
  uint8_t trailer = 0;
  ASSERT_TRUE(in.ReadByte(&trailer));
  EXPECT_EQ(0xAB, trailer);
  EXPECT_FALSE(in.ReadByte(&trailer));
}

}  // namespace
