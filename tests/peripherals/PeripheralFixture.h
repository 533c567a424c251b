// Shared set-up of the peripheral tests: a private configuration database, a
// default filters file of the test's own (never the device's /tmp file), a
// log capture, and builders of filter documents.
#ifndef DEVMGMT_TESTS_PERIPHERALS_PERIPHERALFIXTURE_H_
#define DEVMGMT_TESTS_PERIPHERALS_PERIPHERALFIXTURE_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <tuple>

#include "peripherals/PeripheralDeviceRewriter.h"
#include "platform/uJson.h"
#include "platform/vmCfg.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

using Rewriter = PeripheralDeviceRewriter;

inline std::string Filter(const std::string& in, const std::string& out) {
  return "{\"in\":" + in + ",\"out\":" + out + "}";
}
inline std::string Document(const std::string& filters) { return "{\"name\":\"t\",\"filters\":[" + filters + "]}"; }

// A record read from JSON text; text that does not parse fails the test.
template <typename Record>
Record& Parse(Record& record, const std::string& json) {
  EXPECT_NE(0, uJson::DeSerializer::DeSerialize(record, json)) << json;
  return record;
}

class PeripheralTest : public ::testing::Test {
 protected:
  PeripheralTest() { UseDefaultFilters(m_db.directory() + "/no_default_filters.json"); }

  static void UseDefaultFilters(const std::string& path) { setenv(Rewriter::DEFAULT_FILTERS_ENV, path.c_str(), 1); }
  void WriteDefaultFilters(const std::string& text) {
    WriteFile(m_db.directory() + "/default.json", text);
    UseDefaultFilters(m_db.directory() + "/default.json");
  }
  static void WriteFile(const std::string& path, const std::string& text) {
    ASSERT_TRUE(std::ofstream(path, std::ios::binary) << text) << path;
  }
  static void Set(const std::string& path, const std::string& value) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path.c_str(), value.c_str())) << path;
  }
  // Each line (level, function, text) was logged by `unit` under the peripherals' module.
  void ExpectLogged(const char* unit, std::initializer_list<std::tuple<int, const char*, std::string>> lines) const {
    for (const auto& [level, fn, text] : lines) EXPECT_TRUE(m_log.Logged(VM_LOG_MODULE_ALERTS, level, unit, fn, text));
  }

  TempDatabase m_db;  // first: everything below may read configuration
  LogCapture m_log;
};

#endif  // DEVMGMT_TESTS_PERIPHERALS_PERIPHERALFIXTURE_H_
