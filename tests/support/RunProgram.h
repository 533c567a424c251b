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
  // Starts `program` with `args`; `input` becomes its standard input. A
  // program of the build runs through the cross emulator (when there is
  // one); a host program (`emulated` false) runs as it is.
  RunningProgram(const std::string& program, const std::vector<std::string>& args,
                 const std::string& input = "", bool emulated = true);
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

// Runs a program of the host (argv[0], found on PATH), never emulated.
ProgramResult RunHostProgram(const std::vector<std::string>& argv);

#endif  // DEVMGMT_TESTS_SUPPORT_RUNPROGRAM_H_
