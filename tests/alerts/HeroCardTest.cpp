#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/prctl.h>

#include <string>
#include <vector>

#include "alerts/uHeroCard.h"
#include "platform/uJson.h"
#include "platform/vmCfg.h"
#include "support/TempDatabase.h"

namespace {

std::vector<std::string> Keys(const rapidjson::Value& object) {
  std::vector<std::string> keys;
  for (auto it = object.MemberBegin(); it != object.MemberEnd(); ++it) keys.push_back(it->name.GetString());
  return keys;
}

TEST(HeroCard, DefaultCardHasItsKeysInOrderAndItsDefaults) {
  TempDatabase db;
  uHeroCard card("");
  std::string text;
  ASSERT_EQ(0, uJson::Serializer::Serialize(card, text));
  rapidjson::Document doc;
  ASSERT_FALSE(doc.Parse(text.c_str()).HasParseError()) << text;
  EXPECT_EQ((std::vector<std::string>{"content", "channel", "originator", "delete", "onOff", "timeout", "sound",
                                      "type"}),
            Keys(doc));
  EXPECT_EQ((std::vector<std::string>{"version", "issuer", "title", "subtitle", "text", "images", "buttons"}),
            Keys(doc["content"]));
  EXPECT_EQ((std::vector<std::string>{"path", "repeat"}), Keys(doc["sound"]));
  EXPECT_STREQ("1.0", doc["content"]["version"].GetString());
  EXPECT_STREQ("", doc["content"]["title"].GetString());
  EXPECT_TRUE(doc["content"]["images"].IsArray() && doc["content"]["images"].Empty());
  EXPECT_TRUE(doc["content"]["buttons"].IsArray() && doc["content"]["buttons"].Empty());
  EXPECT_TRUE(doc["delete"].IsFalse());
  EXPECT_TRUE(doc["onOff"].IsFalse());
  EXPECT_EQ(0, doc["timeout"].GetInt());
  EXPECT_TRUE(doc["sound"]["repeat"].IsFalse());
  EXPECT_STREQ("", doc["type"].GetString());
  EXPECT_EQ("-", uHeroCard::separator);
}

TEST(HeroCard, KeysInAnyOrderParseIntoTheSameCard) {
  TempDatabase db;
  const char* text =
      R"({"type":"Alert","unknown":{"deep":[1,2]},"sound":{"repeat":true,"path":"/snd/a.wav"},"timeout":30,)"
      R"("onOff":true,"delete":false,"channel":"n/s","content":{"buttons":[{"icon":"i","value":"v",)"
      R"("title":"Close","type":"OK"},{"type":"Set_Parameter"}],"images":[{"url":"http://x/y.png"}],)"
      R"("text":"body","title":"T","issuer":"Alarm Notification","version":"2.0"}})";
  uHeroCard card("");
  ASSERT_NE(0, uJson::DeSerializer::DeSerialize(card, text, std::string(text).size()));
  ASSERT_EQ(2u, card.m_content.m_buttons.size());
  EXPECT_EQ("Set_Parameter", card.m_content.m_buttons.at(1)->m_type.GetString());
  // Written back, every value is there, in the card's own key order.
  std::string again;
  ASSERT_EQ(0, uJson::Serializer::Serialize(card, again));
  EXPECT_EQ(
      R"({"content":{"version":"2.0","issuer":"Alarm Notification","title":"T","subtitle":"","text":"body",)"
      R"("images":[{"url":"http://x/y.png"}],"buttons":[{"type":"OK","title":"Close","value":"v","icon":"i"},)"
      R"({"type":"Set_Parameter","title":"","value":"","icon":""}]},"channel":"n/s","originator":")" +
          card.m_originator.GetString() +
          R"(","delete":false,"onOff":true,"timeout":30,"sound":{"path":"/snd/a.wav","repeat":true},"type":"Alert"})",
      again);
}

TEST(HeroCard, OriginatorIsDeviceAndProcessNameWithoutTheLineEnd) {
  TempDatabase db;
  const std::string device = g699();
  ASSERT_FALSE(device.empty());
  // Short, one character and the longest name the kernel keeps (15 bytes).
  for (const char* name : {"cards", "x", "abcdefghijklmno"}) {
    ASSERT_EQ(0, prctl(PR_SET_NAME, name, 0, 0, 0));
    EXPECT_EQ(device + "-" + name, uHeroCard::BuildOriginator(""));
    EXPECT_EQ(device + "-" + name + "-ui", uHeroCard::BuildOriginator("ui"));
    EXPECT_EQ(device + "-" + name, uHeroCard("").m_originator.GetString());
  }
  EXPECT_EQ("a-b", uHeroCard::BuildOriginator("a", "b", ""));
  EXPECT_EQ("a--c", uHeroCard::BuildOriginator("a", "", "c"));
}

}  // namespace
