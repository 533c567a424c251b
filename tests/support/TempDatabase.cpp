#include "support/TempDatabase.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <fstream>
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

std::string SampleValue(int i) { return "v" + std::to_string(i) + std::string(60, '.'); }

bool MakeSampleDatabase(const std::string& path, int rows) {
  sqlite3* raw = nullptr;
  bool ok = sqlite3_open(path.c_str(), &raw) == SQLITE_OK &&
            sqlite3_exec(raw,
                         "PRAGMA journal_mode=WAL; BEGIN;"
                         "CREATE TABLE params(path TEXT PRIMARY KEY, value TEXT NOT NULL);"
                         "CREATE TABLE changes(seq INTEGER PRIMARY KEY, path TEXT NOT NULL);",
                         nullptr, nullptr, nullptr) == SQLITE_OK;
  for (int i = 0; ok && i < rows; ++i) {
    char sql[160];
    std::snprintf(sql, sizeof sql, "INSERT INTO params VALUES('p/%04d', '%s')", i, SampleValue(i).c_str());
    ok = sqlite3_exec(raw, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  ok = ok && sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(raw);
  return ok;
}

bool DamageMiddlePage(const std::string& path) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekg(0, std::ios::end);
  const long pages = static_cast<long>(file.tellg()) / 4096;
  if (pages < 8) return false;
  file.seekp((pages / 2) * 4096 + 1024);
  file << std::string(2048, '\xFF');
  return static_cast<bool>(file);
}
