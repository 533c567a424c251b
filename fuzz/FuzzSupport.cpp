#include "fuzz/FuzzSupport.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "platform/vmCfg.h"
#include "platform/vmLog.h"

namespace fuzz {
namespace {

std::string g_directory;

// Every line is formatted (so format handling is exercised) and dropped.
void DropLine(const vm_log_record* record, void*) {
  if (record == nullptr || record->text == nullptr) Fail("log record without text");
}

void RemoveDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(g_directory, ignored);
}

}  // namespace

void Init() {
  if (!g_directory.empty()) return;
  char pattern[] = "/tmp/devmgmt-fuzz-XXXXXX";
  if (mkdtemp(pattern) == nullptr) Fail("mkdtemp");
  g_directory = pattern;
  std::atexit(RemoveDirectory);
  setenv("VM_CFG_DB", (g_directory + "/config.db").c_str(), 1);
  setenv("VM_LOG_LEVEL", "0", 1);
  vm_log_set_sink(DropLine, nullptr);
  char value[64];
  vmCfgGetParam("device/model", value, sizeof value);
}

const std::string& Directory() { return g_directory; }

std::string WriteFile(const std::string& name, const uint8_t* data, size_t size) {
  const std::string path = g_directory + "/" + name;
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) Fail("cannot create scratch file");
  if (size > 0 && std::fwrite(data, 1, size, file) != size) Fail("cannot write scratch file");
  std::fclose(file);
  return path;
}

bool ReadFile(const std::string& path, std::string& out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

void Fail(const char* what) {
  std::fprintf(stderr, "fuzz invariant failed: %s\n", what);
  std::fflush(stderr);
  abort();
}

}  // namespace fuzz
