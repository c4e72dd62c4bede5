// SPDX-License-Identifier: MIT
//
// Runs the files of a folder, a corpus, through a fuzz target without a fuzzer, so that every
// finding of the past stays a test. A file's name is printed before it runs: the last one is the
// culprit.
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
