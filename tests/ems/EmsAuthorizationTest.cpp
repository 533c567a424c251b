#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "ems/EmsAuthorization.h"
#include "platform/vmCfg.h"
#include "platform/vmDevice.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

namespace {

struct AuthVector {
  const char* user;
  const char* password;
  unsigned char session[4];
  const char* expected;
};

// Expected values computed outside this library (see make_auth_vectors.py).
const AuthVector kAuthVectors[] = {
#include "ems/AuthVectors.inc"
};

std::string Encrypted(const char* plain) {
  char stored[512];
  EXPECT_EQ(0, VM_Encrypt_Param(plain, stored, sizeof stored));
  return stored;
}

TEST(Hex, EncodesLowerCaseInMemoryOrder) {
  const unsigned char bytes[] = {0x00, 0xAB};
  EXPECT_EQ("00ab", EncodeHex(bytes, 2));
  EXPECT_EQ("", EncodeHex(bytes, 0));
  const unsigned char all[] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef, 0xf0};
  EXPECT_EQ("0123456789abcdeff0", EncodeHex(all, sizeof all));
}

TEST(Hex, DecodesSingleDigitsAndRefusesOthers) {
  unsigned char out = 0x55;
  const std::string good = "0123456789abcdefABCDEF";
  const int values[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 10, 11, 12, 13, 14, 15};
  for (size_t i = 0; i < good.size(); ++i) {
    ASSERT_TRUE(DecodeHex(good[i], out)) << good[i];
    EXPECT_EQ(values[i], out) << good[i];
  }
  out = 0x55;
  for (char c : std::string("gG/:@`xz \0", 10)) {
    EXPECT_FALSE(DecodeHex(c, out)) << static_cast<int>(c);
    EXPECT_EQ(0x55, out);
  }
  EXPECT_FALSE(DecodeHex(static_cast<char>(0xC3), out));  // a high byte, whatever char's sign
}

TEST(Hex, DecodesTextOnlyWhenItFillsTheBufferExactly) {
  unsigned char out[2] = {0, 0};
  EXPECT_TRUE(DecodeHex("0A1b", out, 2));
  EXPECT_EQ(0x0A, out[0]);
  EXPECT_EQ(0x1B, out[1]);

  EXPECT_FALSE(DecodeHex("0A1", out, 2));    // odd length: ends early
  EXPECT_FALSE(DecodeHex("0A", out, 2));     // short
  EXPECT_FALSE(DecodeHex("", out, 2));
  EXPECT_FALSE(DecodeHex("0A1b2", out, 2));  // goes on
  EXPECT_FALSE(DecodeHex("0A1b2c", out, 2));
  unsigned char one = 0x77;
  EXPECT_FALSE(DecodeHex("zz", &one, 1));
  EXPECT_EQ(0x77, one);
  EXPECT_FALSE(DecodeHex("0z", &one, 1));
  EXPECT_FALSE(DecodeHex(nullptr, &one, 1));
  EXPECT_TRUE(DecodeHex("", nullptr, 0));

  // Round trip of every byte value.
  unsigned char bytes[256];
  for (int i = 0; i < 256; ++i) bytes[i] = static_cast<unsigned char>(i);
  unsigned char back[256];
  ASSERT_TRUE(DecodeHex(EncodeHex(bytes, sizeof bytes).c_str(), back, sizeof back));
  EXPECT_EQ(0, std::memcmp(bytes, back, sizeof bytes));
}

TEST(AuthorizationHash, MatchesIndependentlyComputedVectors) {
  for (const AuthVector& v : kAuthVectors) {
    uint32_t session = 0;
    std::memcpy(&session, v.session, sizeof session);  // the bytes as they lie in memory
    unsigned char out[16];
    const unsigned char* result = AuthorizationHash(session, v.user, v.password, out);
    EXPECT_EQ(out, result);
    EXPECT_EQ(v.expected, EncodeHex(out, sizeof out)) << v.user << " / session " << EncodeHex(v.session, 4);
    // The identifier sent beside the hash is the hex of the same bytes.
    EXPECT_EQ(EncodeHex(v.session, 4), EncodeHex(&session, sizeof session));
  }
}

TEST(AuthorizationHash, IsStableAndChangesWithEveryByteOfTheSession) {
  unsigned char first[16];
  unsigned char again[16];
  AuthorizationHash(0x11223344u, "user", "password", first);
  AuthorizationHash(0x11223344u, "user", "password", again);
  EXPECT_EQ(0, std::memcmp(first, again, 16));
  std::set<std::string> seen = {EncodeHex(first, 16)};
  for (int byte = 0; byte < 4; ++byte) {
    unsigned char other[16];
    AuthorizationHash(0x11223344u ^ (1u << (8 * byte)), "user", "password", other);
    EXPECT_TRUE(seen.insert(EncodeHex(other, 16)).second) << "byte " << byte;
  }
  unsigned char other[16];
  AuthorizationHash(0x11223344u, "user", "passwore", other);
  EXPECT_TRUE(seen.insert(EncodeHex(other, 16)).second);
  AuthorizationHash(0x11223344u, "uses", "password", other);
  EXPECT_TRUE(seen.insert(EncodeHex(other, 16)).second);
}

TEST(SessionId, IsFreshForEveryRequest) {
  // 16 draws of 32 random bits: a repeat means the source is not random.
  std::set<uint32_t> ids;
  for (int i = 0; i < 16; ++i) ids.insert(GenerateSessionId());
  EXPECT_EQ(16u, ids.size());
}

class Credentials : public ::testing::Test {
 protected:
  TempDatabase m_db;
};

TEST_F(Credentials, PrimaryPairOfTheDefaultProfile) {
  std::string user;
  std::string password;
  ASSERT_TRUE(GetUserPassword(user, password));
  EXPECT_EQ("device-manager", user);
  EXPECT_EQ("change-me-on-first-use", password);
}

TEST_F(Credentials, FallbackPairOnlyWhenThePrimaryUserIsEmptyAndTheServerAllowsIt) {
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/fallback_user_name", "second"));
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/fallback_password", Encrypted("second-secret").c_str()));
  std::string user;
  std::string password;
  ASSERT_TRUE(GetUserPassword(user, password));  // primary set: fallback ignored
  EXPECT_EQ("device-manager", user);

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/user_name", ""));
  ASSERT_TRUE(GetUserPassword(user, password));
  EXPECT_EQ("second", user);
  EXPECT_EQ("second-secret", password);

  // The server type 6 never falls back: the empty primary pair stands.
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("sip/application_server", "6"));
  EXPECT_FALSE(GetUserPassword(user, password));
  EXPECT_EQ("", user);
}

TEST_F(Credentials, MissingTooLongOrUndecryptablePasswordsGiveNoCredentials) {
  std::string user;
  std::string password;
  LogCapture log;
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/password", "not-a-secret-of-this-device"));
  EXPECT_FALSE(GetUserPassword(user, password));
  EXPECT_EQ("", password);

  std::string stored = Encrypted("change-me-on-first-use");
  ASSERT_GT(stored.size(), 12u);
  stored[10] = stored[10] == 'A' ? 'B' : 'A';  // an altered nonce fails the tag
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/password", stored.c_str()));
  EXPECT_FALSE(GetUserPassword(user, password));

  const std::string longest(63, 'k');
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/password", Encrypted(longest.c_str()).c_str()));
  ASSERT_TRUE(GetUserPassword(user, password));
  EXPECT_EQ(longest, password);
  const std::string too_long(64, 'k');
  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/password", Encrypted(too_long.c_str()).c_str()));
  EXPECT_FALSE(GetUserPassword(user, password));

  ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("ems/server/password", ""));
  EXPECT_FALSE(GetUserPassword(user, password));

  for (const CapturedLine& line : log.lines()) {
    EXPECT_EQ(std::string::npos, line.text.find("change-me-on-first-use")) << line.text;
    EXPECT_EQ(std::string::npos, line.text.find(longest)) << line.text;
  }
}

}  // namespace
