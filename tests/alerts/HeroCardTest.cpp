#include <sys/prctl.h>

#include "alerts/AlertTestSupport.h"
#include "platform/uJson.h"

namespace {

TEST(HeroCard, ADefaultCardHasItsDefaultsAndACardReadInAnyKeyOrderIsWrittenInItsOwn) {
  TempDatabase db;
  uHeroCard card("");
  std::string text;
  ASSERT_EQ(0, uJson::Serializer::Serialize(card, text));
  EXPECT_EQ(CardText(""), text);
  text = R"({"type":"T","unknown":[1],"sound":{"repeat":true,"path":"/a.wav"},"timeout":30,"onOff":true,"delete":true,)"
         R"("originator":"o","channel":"n/s","content":{"images":[{"url":"u"}],"text":"b","version":"2.0"}})";
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(card, text.c_str(), text.size()));
  ASSERT_EQ(0, uJson::Serializer::Serialize(card, text));
  EXPECT_EQ(R"({"content":{"version":"2.0","issuer":"","title":"","subtitle":"","text":"b","images":[{"url":"u"}],)"
            R"("buttons":[]},"channel":"n/s","originator":"o","delete":true,"onOff":true,"timeout":30,)"
            R"("sound":{"path":"/a.wav","repeat":true},"type":"T"})", text);
}

TEST(HeroCard, OriginatorIsDeviceAndProcessNameWithoutTheLineEnd) {
  TempDatabase db;
  for (const std::string name : {"x", "abcdefghijklmno"}) {  // the longest name the kernel keeps
    ASSERT_EQ(0, prctl(PR_SET_NAME, name.c_str(), 0, 0, 0));
    EXPECT_EQ("lobby-desk-phone-" + name + "|lobby-desk-phone-" + name + "-ui", uHeroCard("").m_originator.GetString() + "|" + uHeroCard::BuildOriginator("ui"));
  }
}

}  // namespace
