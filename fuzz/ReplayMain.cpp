// Runs a fuzz target's entry point once on every file named on the command
// line (a folder stands for the files in it, in name order), so that the
// seed corpora and regression inputs run as ordinary tests in every build,
// without libFuzzer or clang. A failed check aborts, as under the fuzzer.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;  // a file is no folder: it iterates as none
    const size_t first = inputs.size();
    if (!std::filesystem::is_directory(argv[i], error)) inputs.emplace_back(argv[i]);
    for (const auto& entry : std::filesystem::directory_iterator(argv[i], error)) inputs.push_back(entry.path());
    std::sort(inputs.begin() + static_cast<std::ptrdiff_t>(first), inputs.end());
  }
  if (inputs.empty()) {
    std::fprintf(stderr, "usage: %s FILE|FOLDER...\n", argv[0]);
    return 2;
  }
  LLVMFuzzerInitialize(&argc, &argv);
  for (const std::filesystem::path& input : inputs) {
    std::ifstream file(input, std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "cannot read %s\n", input.c_str());
      return 1;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::printf("%s (%zu bytes)\n", input.c_str(), bytes.size());
    std::fflush(stdout);
    // A zero-length input still gets a valid pointer, as libFuzzer gives one.
    static const uint8_t kEmpty = 0;
    LLVMFuzzerTestOneInput(bytes.empty() ? &kEmpty : reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs replayed\n", inputs.size());
  return 0;
}
