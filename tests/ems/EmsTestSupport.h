// Helpers shared by the EMS tests: JSON text of a record, parsed with
// RapidJSON, and the keys of an object in document order.
#ifndef DEVMGMT_TESTS_EMS_EMSTESTSUPPORT_H_
#define DEVMGMT_TESTS_EMS_EMSTESTSUPPORT_H_

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>
#include <vector>

#include "platform/uJson.h"

inline std::string ToJson(const ISerializable& record) {
  std::string text;
  EXPECT_EQ(0, uJson::Serializer::Serialize(record, text));
  return text;
}

// Parses `text`; a parse error fails the test.
inline rapidjson::Document Parse(const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.c_str(), text.size());
  EXPECT_FALSE(document.HasParseError()) << text;
  EXPECT_TRUE(document.IsObject()) << text;
  return document;
}

inline std::vector<std::string> Keys(const rapidjson::Value& object) {
  std::vector<std::string> keys;
  if (!object.IsObject()) return keys;
  for (auto it = object.MemberBegin(); it != object.MemberEnd(); ++it) keys.emplace_back(it->name.GetString());
  return keys;
}

// The keys of the status report, in order.
inline std::vector<std::string> StatusReportKeys() {
  return {"sessionId", "emsUserName", "emsUserPassword", "ip", "subnet", "mac", "vlanId", "model",
          "fwVersion", "BootLoaderversion", "MSTeamsversion", "ApplicationServer", "userAgent",
          "location", "userName", "userId", "phoneNumber", "status", "sipProxy", "sync_id",
          "unreceived_request", "BToEpairingstatus", "BToEversion", "USBHeadsetType",
          "ModelInformation", "additionalParams"};
}

#endif  // DEVMGMT_TESTS_EMS_EMSTESTSUPPORT_H_
