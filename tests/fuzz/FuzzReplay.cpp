// SPDX-License-Identifier: MIT
//
// Runs the files of a corpus through a fuzz target without a fuzzer, so that every earlier finding
// stays a test. Prints a file's name before its run: the last name is that of the failing file.
#include <filesystem>
#include <string>
#include <vector>

#include "tests/TestFolder.h"
#include "tests/fuzz/FuzzTarget.h"

int main(int /*argc*/, char** argv) {
  std::size_t count = 0;
  for (const auto& file : std::filesystem::directory_iterator(argv[1])) {
    static_cast<void>(std::fprintf(stderr, "%s\n", file.path().c_str()));
    const std::string bytes = ReadFile(file.path());
    Check(bytes.size() == file.file_size(), "a corpus file can be read");
    const std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(data.data(), data.size());
    ++count;
  }
  Check(count > 0, "there is something to run");
  return 0;
}
