// The JSON text of a record, for comparing what a record holds with the
// text a test expects.
#ifndef DEVMGMT_TESTS_SUPPORT_JSONTEXT_H_
#define DEVMGMT_TESTS_SUPPORT_JSONTEXT_H_

#include <string>

#include "platform/uJson.h"

// "<failed>" when the record does not serialise.
inline std::string ToJson(const ISerializable& record) {
  std::string text;
  return uJson::Serializer::Serialize(record, text) == 0 ? text : "<failed>";
}

#endif  // DEVMGMT_TESTS_SUPPORT_JSONTEXT_H_
