// The fixture of the EMS tests: a private configuration database seeded with
// the default profile and a fixed network identity, captured log lines, and
// the JSON text of records.
#ifndef DEVMGMT_TESTS_EMS_EMSTESTSUPPORT_H_
#define DEVMGMT_TESTS_EMS_EMSTESTSUPPORT_H_

#include <string>
#include <tuple>

#include "platform/vmCfg.h"
#include "support/JsonText.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

class EmsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Set("network/override/mac", "00:11:22:aa:bb:cc");
    Set("network/override/ip_address", "192.0.2.10");
    Set("network/override/netmask", "255.255.255.0");
  }
  static void Set(const char* path, const std::string& value) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam(path, value.c_str())) << path;
  }
  // Each line (level, function, text) was logged by the EMS module from `unit`.
  void ExpectLogged(const char* unit, std::initializer_list<std::tuple<int, const char*, std::string>> lines) const {
    for (const auto& [level, fn, text] : lines) EXPECT_TRUE(log_.Logged(VM_LOG_MODULE_EMS, level, unit, fn, text));
  }

  TempDatabase db_;
  LogCapture log_;
};

#endif  // DEVMGMT_TESTS_EMS_EMSTESTSUPPORT_H_
