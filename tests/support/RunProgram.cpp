#include "support/RunProgram.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>

extern char** environ;

namespace {

std::string Slurp(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// The emulator that runs the build's programs (a ';'-separated list, empty
// for native builds), given by the build system.
std::vector<std::string> Emulator() {
  std::vector<std::string> words;
#ifdef DM_TEST_EMULATOR
  std::stringstream list(DM_TEST_EMULATOR);
  for (std::string word; std::getline(list, word, ';');) {
    if (!word.empty()) words.push_back(word);
  }
#endif
  return words;
}

}  // namespace

RunningProgram::RunningProgram(const std::string& program, const std::vector<std::string>& args,
                               const std::string& input, bool emulated) {
  char pattern[] = "/tmp/devmgmt-run-XXXXXX";
  if (mkdtemp(pattern) == nullptr) return;
  m_directory = pattern;
  { std::ofstream(m_directory + "/in", std::ios::binary) << input; }
  std::vector<std::string> words = emulated ? Emulator() : std::vector<std::string>();
  words.push_back(program);
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(&word[0]);
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, (m_directory + "/in").c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, (m_directory + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, (m_directory + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (posix_spawnp(&m_pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) m_pid = -1;
  posix_spawn_file_actions_destroy(&actions);
}

RunningProgram::~RunningProgram() {
  if (m_pid > 0) {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  std::error_code ignored;
  if (!m_directory.empty()) std::filesystem::remove_all(m_directory, ignored);
}

bool RunningProgram::WaitForError(const std::string& text, int timeout_ms) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  while (std::chrono::steady_clock::now() < deadline) {
    if (Slurp(m_directory + "/err").find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

ProgramResult RunningProgram::Wait(int timeout_ms) {
  ProgramResult result;
  if (m_pid <= 0) return result;
  int status = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  pid_t done = 0;
  while ((done = waitpid(m_pid, &status, WNOHANG)) == 0 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (done == 0) {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, &status, 0);
  }
  m_pid = -1;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.out = Slurp(m_directory + "/out");
  result.err = Slurp(m_directory + "/err");
  return result;
}

ProgramResult RunHostProgram(const std::vector<std::string>& argv) {
  if (argv.empty()) return ProgramResult();
  RunningProgram running(argv[0], std::vector<std::string>(argv.begin() + 1, argv.end()), "", false);
  return running.Wait();
}
