#include <cstring>

#include "ems/EmsAuthorization.h"
#include "ems/EmsTestSupport.h"
#include "platform/vmDevice.h"

namespace {

struct AuthVector {
  const char *user, *password;
  unsigned char session[4];
  const char* expected;
};

// Expected values computed outside this library (see make_auth_vectors.py).
const AuthVector kAuthVectors[] = {
#include "ems/AuthVectors.inc"
};

// Encoding is checked against the independently computed hashes below.
TEST(Hex, DecodesTextOnlyWhenItFillsTheBufferExactly) {
  unsigned char out[11];
  ASSERT_TRUE(DecodeHex("0123456789abcdefABCDEF", out, 11));
  EXPECT_EQ("0123456789abcdefabcdef", EncodeHex(out, 11));
  const struct { const char* text; size_t size; } refused[] = {  // short, long, or a character next to a digit range
      {"0A1", 2}, {"0A", 2}, {"0A1b2", 2}, {"/0", 1}, {":0", 1}, {"`0", 1}, {"g0", 1}, {"@0", 1}, {"G0", 1}, {"0z", 1}};
  for (const auto& c : refused) EXPECT_FALSE(DecodeHex(c.text, out, c.size)) << c.text;
  EXPECT_FALSE(DecodeHex(nullptr, nullptr, 1));
}

TEST(AuthorizationHash, MatchesIndependentlyComputedVectors) {
  for (const AuthVector& v : kAuthVectors) {
    uint32_t session = 0;
    std::memcpy(&session, v.session, sizeof session);  // the bytes as they lie in memory
    unsigned char out[16];
    EXPECT_EQ(out, AuthorizationHash(session, v.user, v.password, out));
    EXPECT_EQ(v.expected, EncodeHex(out, sizeof out)) << v.user << " / session " << EncodeHex(v.session, 4);
  }
}

std::string Encrypted(const std::string& plain) {
  char stored[512];
  EXPECT_EQ(0, VM_Encrypt_Param(plain.c_str(), stored, sizeof stored));
  return stored;
}

using Credentials = EmsTest;

TEST_F(Credentials, ArePrimaryOrFallbackWithADecryptablePasswordOfAtMost63Bytes) {
  Set("ems/server/fallback_user_name", "second");
  Set("ems/server/fallback_password", Encrypted("second-secret"));
  const std::string primary = Encrypted("change-me-on-first-use"), k63(63, 'k');
  std::string altered = primary;
  altered[10] = altered[10] == 'A' ? 'B' : 'A';  // an altered nonce fails the tag
  const struct { const char *name, *server; std::string stored, expected; } cases[] = {  // "-": no credentials
      {"device-manager", "0", primary, "device-manager|change-me-on-first-use"},
      {"", "0", primary, "second|second-secret"}, {"", "6", primary, "-"},  // this server type never falls back
      {"device-manager", "0", "not-a-secret-of-this-device", "-"}, {"device-manager", "0", altered, "-"},
      {"device-manager", "0", Encrypted(k63), "device-manager|" + k63},
      {"device-manager", "0", Encrypted(k63 + "k"), "-"}, {"device-manager", "0", "", "-"}};
  for (const auto& c : cases) {
    Set("ems/server/user_name", c.name);
    Set("sip/application_server", c.server);
    Set("ems/server/password", c.stored);
    std::string user, password;
    EXPECT_EQ(c.expected, GetUserPassword(user, password) ? user + "|" + password : "-") << c.name << c.stored;
  }
  for (const CapturedLine& line : log_.lines()) {
    EXPECT_TRUE(line.text.find("change-me") == std::string::npos && line.text.find("kkkk") == std::string::npos)
        << line.text;
  }
}

}  // namespace
