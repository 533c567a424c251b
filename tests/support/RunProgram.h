// Runs a program of the build (through the cross emulator where there is
// one) with a fixed argument vector, no shell, and collects what it printed.
#ifndef DEVMGMT_TESTS_SUPPORT_RUNPROGRAM_H_
#define DEVMGMT_TESTS_SUPPORT_RUNPROGRAM_H_

#include <sys/types.h>

#include <string>
#include <vector>

struct ProgramResult {
  int status = -1;  // exit status, or -1 when it did not exit normally
  std::string out;
  std::string err;
};

class RunningProgram {
 public:
  // Starts `program` with `args`; `input` becomes its standard input.
  RunningProgram(const std::string& program, const std::vector<std::string>& args,
                 const std::string& input = "");
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  // Waits until its standard error holds `text` (false after `timeout_ms`).
  bool WaitForError(const std::string& text, int timeout_ms = 20000) const;

  // Waits for the end (killing it after `timeout_ms`) and returns the result.
  ProgramResult Wait(int timeout_ms = 30000);

 private:
  pid_t m_pid = -1;
  std::string m_directory;
};

ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& args,
                         const std::string& input = "");

#endif  // DEVMGMT_TESTS_SUPPORT_RUNPROGRAM_H_
