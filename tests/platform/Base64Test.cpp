#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/vmUtils.h"

namespace {

std::string Encode(const std::string& bytes) {
  std::vector<char> out(4 * ((bytes.size() + 2) / 3) + 1, '#');
  const int length = base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                   static_cast<int>(bytes.size()), out.data());
  EXPECT_EQ(out.size() - 1, static_cast<size_t>(length));
  EXPECT_EQ('\0', out.back());
  return std::string(out.data(), static_cast<size_t>(length));
}

// Decodes into a buffer of exactly length * 3 / 4 bytes, the documented size.
int Decode(const std::string& text, std::string* bytes) {
  std::vector<unsigned char> out(text.size() * 3 / 4);
  const int length = base64_decode(text.data(), static_cast<int>(text.size()), out.data());
  if (length >= 0) bytes->assign(reinterpret_cast<const char*>(out.data()), static_cast<size_t>(length));
  return length;
}

TEST(Base64, KnownVectors) {
  const std::pair<const char*, const char*> vectors[] = {
      {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},         {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
  };
  for (const auto& v : vectors) {
    EXPECT_EQ(v.second, Encode(v.first));
    std::string decoded;
    EXPECT_EQ(static_cast<int>(std::strlen(v.first)), Decode(v.second, &decoded));
    EXPECT_EQ(v.first, decoded);
  }
}

TEST(Base64, RandomBytesRoundTripAtEveryLength) {
  std::mt19937 random(1234);
  for (size_t length = 0; length < 300; ++length) {
    std::string bytes(length, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    std::string decoded;
    ASSERT_EQ(static_cast<int>(length), Decode(Encode(bytes), &decoded));
    EXPECT_EQ(bytes, decoded);
  }
}

TEST(Base64, DecoderSkipsLineBreaksAndAcceptsMissingPadding) {
  std::string bytes(200, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7);
  const std::string text = Encode(bytes);
  std::string wrapped;
  for (size_t i = 0; i < text.size(); i += 64) wrapped += text.substr(i, 64) + "\n";
  std::string decoded;
  ASSERT_EQ(200, Decode(wrapped, &decoded));
  EXPECT_EQ(bytes, decoded);
  ASSERT_EQ(2, Decode("Zm8", &decoded));
  EXPECT_EQ("fo", decoded);
}

TEST(Base64, InvalidInputIsRefused) {
  std::string decoded;
  EXPECT_EQ(-1, Decode("Zm9v!mFy", &decoded));
  EXPECT_EQ(-1, Decode("Z", &decoded));
  unsigned char out[4];
  EXPECT_EQ(-1, base64_decode(nullptr, 4, out));
  EXPECT_EQ(-1, base64_decode("Zm9v", -1, out));
  EXPECT_EQ(-1, base64_encode(nullptr, 3, reinterpret_cast<char*>(out)));
}

}  // namespace
