#include <sys/prctl.h>

#include "alerts/AlertTestSupport.h"
#include "platform/uJson.h"

namespace {

TEST(HeroCard, ADefaultCardHasItsDefaultsInKeyOrder) {
  TempDatabase db;
  uHeroCard card("");
  std::string text;
  ASSERT_EQ(0, uJson::Serializer::Serialize(card, text));
  EXPECT_EQ(CardText(""), text);
}

TEST(HeroCard, OriginatorIsDeviceAndProcessNameWithoutTheLineEnd) {
  TempDatabase db;
  for (const std::string name : {"x", "abcdefghijklmno"}) {  // the longest name the kernel keeps
    ASSERT_EQ(0, prctl(PR_SET_NAME, name.c_str(), 0, 0, 0));
    EXPECT_EQ("lobby-desk-phone-" + name + "|lobby-desk-phone-" + name + "-ui", uHeroCard("").m_originator.GetString() + "|" + uHeroCard::BuildOriginator("ui"));
  }
}

}  // namespace
