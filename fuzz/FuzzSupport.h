// What every fuzz target shares: a quiet log, a private configuration
// database made once per process, and a scratch file for inputs that the
// code under test reads from disk.
#ifndef DEVMGMT_FUZZ_FUZZSUPPORT_H_
#define DEVMGMT_FUZZ_FUZZSUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

// LLVMFuzzerInitialize (FuzzSupport.cpp) sets the process up before the
// first input: it points VM_CFG_DB at a fresh temporary folder (removed at
// exit), keeps log lines out of syslog while still formatting them, and
// opens the database so that the first input does not pay for it.

// The process's scratch folder.
const std::string& Directory();

// Writes the bytes to `name` inside the scratch folder and returns its path.
std::string WriteFile(const std::string& name, const uint8_t* data, size_t size);


// Stops the run with a message when an invariant of the code under test
// does not hold: libFuzzer reports it as a crash and keeps the input.
[[noreturn]] void Fail(const char* what);

}  // namespace fuzz

#define FUZZ_CHECK(condition) \
  do {                        \
    if (!(condition)) ::fuzz::Fail(#condition); \
  } while (0)

#endif  // DEVMGMT_FUZZ_FUZZSUPPORT_H_
