// The sign-in events: each class, which numbers the factory builds from
// messages of which length, and state objects.
#include "events/EventTestSupport.h"
#include "events/auth/uAuthEventFactory.h"
#include "events/auth/uAuthHandler.h"

namespace {

// A record's JSON from its leaves' values: integers as they are, texts quoted.
std::string Record(const std::vector<std::string>& values) {
  std::string json;
  for (const std::string& value : values) {
    json += (value[0] == '"' ? ",\"BasicSerializableString\":" : ",\"BasicSerializableInteger\":") + value;
  }
  return json.empty() ? "(none)" : "{" + json.substr(1) + "}";
}

#define AUTH_ROW(...) EVENT_ROW(uAuthEvent, __VA_ARGS__)

TEST(AuthEvents, AnswerTheirNumbersRebuildWithTheirRecordsAndReachTheirHandlers) {
  ExpectStateHandler<uAuthHandler, uAuthStateHandler, AuthRejectResponseEv, AuthGetUrlAndCodeResponseEv,
                     AuthCancelUrlAndCodeEv>();
  ExpectFamily<uAuthEventFactory, uAuthHandler, uAuthEvent>(
      264, {AUTH_ROW(AuthGetUrlAndCodeEv, 0, 0, true, std::string(16, '0'), Record({"11", "-12"})),
            AUTH_ROW(AuthCancelUrlAndCodeEv, 1, 0, true, "", Record({})),
            // Texts start set and empty: length 0, not unset.
            AUTH_ROW(AuthGetUrlAndCodeResponseEv, 2, 1, true, std::string(32, '0'),
                     Record({"900", "\"https://login.example\"", "\"ABCD-EFGH\"", "\"\""})),
            AUTH_ROW(AuthCredentialsResponseEv, 3, 1, true, std::string(72, '0'),
                     Record({"1", "3600", "\"a\"", "\"\"", "\"c\"", '"' + std::string(300, 'd') + '"', "\"e\"", "\"f\"",
                             "\"g\""})),
            AUTH_ROW(AuthRejectResponseEv, 4, 1, true, std::string(24, '0'), Record({"4", "\"expired_token\"", "400"}))});
}

TEST(AuthFactory, BuildsOnlyTheFamilysNumbersFromMessagesOfTheRightLength) {
  ExpectBuilds<uAuthEventFactory>({5, 413, -1, INT32_MIN}, 4, 8 + 12);  // a reject: integer, empty text, integer
}

}  // namespace
