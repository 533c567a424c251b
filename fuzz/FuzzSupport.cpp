#include "fuzz/FuzzSupport.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "platform/vmCfg.h"
#include "platform/vmLog.h"
#include "support/TestPki.h"

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

void Init() {
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

}  // namespace

const std::string& Directory() { return g_directory; }

std::string WriteFile(const std::string& name, const uint8_t* data, size_t size) {
  const std::string path = g_directory + "/" + name;
  if (!testpki::WriteFile(path, std::string(reinterpret_cast<const char*>(data), size))) Fail("cannot write file");
  return path;
}

void Fail(const char* what) {
  std::fprintf(stderr, "fuzz invariant failed: %s\n", what);
  std::fflush(stderr);
  abort();
}

}  // namespace fuzz

// libFuzzer's set-up hook, which the replay program calls too: every target
// meets its first input with the process set up.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::Init();
  return 0;
}
