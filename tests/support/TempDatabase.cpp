#include "support/TempDatabase.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

TempDatabase::TempDatabase() {
  char pattern[] = "/tmp/devmgmt-test-XXXXXX";
  const char* made = mkdtemp(pattern);
  if (made == nullptr) ADD_FAILURE() << "mkdtemp failed";
  m_directory = made ? made : "/tmp";
  m_path = m_directory + "/config.db";
  setenv("VM_CFG_DB", m_path.c_str(), 1);
}

TempDatabase::~TempDatabase() {
  std::error_code ignored;
  std::filesystem::remove_all(m_directory, ignored);
}
