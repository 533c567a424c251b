// Shared set-up of the peripheral tests: a private configuration database, a
// default filters file of the test's own (never the device's /tmp file) and
// a log capture.
#ifndef DEVMGMT_TESTS_PERIPHERALS_PERIPHERALFIXTURE_H_
#define DEVMGMT_TESTS_PERIPHERALS_PERIPHERALFIXTURE_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "peripherals/PeripheralDeviceRewriter.h"
#include "peripherals/PeripheralInfo.h"
#include "platform/vmCfg.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"

class PeripheralTest : public ::testing::Test {
 protected:
  PeripheralTest() {
    // Until a test chooses, the default list is a file that does not exist.
    UseDefaultFiltersFile(m_db.directory() + "/no_default_filters.json");
  }

  void UseDefaultFiltersFile(const std::string& path) {
    setenv(PeripheralDeviceRewriter::DEFAULT_FILTERS_ENV, path.c_str(), 1);
  }
  void UseSampleDefaultFilters() { UseDefaultFiltersFile(DM_SAMPLE_FILTERS); }
  // Writes `text` as this test's default filters file.
  void WriteDefaultFilters(const std::string& text) {
    const std::string path = m_db.directory() + "/default_filters.json";
    WriteFile(path, text);
    UseDefaultFiltersFile(path);
  }
  static void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    ASSERT_TRUE(file.good()) << path;
  }
  static void SetConfiguredFilters(const std::string& text) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("peripheral/filters", text.c_str()));
  }
  static void SetSystemType(const std::string& type) {
    ASSERT_EQ(VM_CFG_OK, vmCfgSetParam("system/type", type.c_str()));
  }

  TempDatabase m_db;  // first: everything below may read configuration
  LogCapture m_log;
};

// A detected peripheral; a null text leaves the field unset.
inline void Describe(PeripheralInfo& info, const char* name, int vid = -1, int pid = -1,
                     const char* type = nullptr) {
  if (name) info.m_name.SetValue(name, -1);
  info.m_vid.SetValue(vid);
  info.m_pid.SetValue(pid);
  if (type) info.m_type.SetValue(type, -1);
}

#endif  // DEVMGMT_TESTS_PERIPHERALS_PERIPHERALFIXTURE_H_
