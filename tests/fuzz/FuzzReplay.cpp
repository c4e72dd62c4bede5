// SPDX-License-Identifier: MIT
//
// Runs the files of a corpus through a fuzz target without a fuzzer, so that every finding of the
// past stays a test. The name of a file is printed before it runs: the last one is the culprit.
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/TestFolder.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& place) {
  if (!std::filesystem::is_directory(place)) return {place};
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(place)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void PrintLine(const std::string& line) {
  static_cast<void>(std::fprintf(stderr, "%s\n", line.c_str()));
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& file : FilesOf(argv[i])) {
      PrintLine(file.string());
      const std::string bytes = ReadFile(file);
      Check(bytes.size() == std::filesystem::file_size(file), "a corpus file can be read");
      const std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
      LLVMFuzzerTestOneInput(data.data(), data.size());
      ++count;
    }
  }
  Check(count > 0, "there is something to run");
  PrintLine(std::to_string(count) + " inputs");
  return 0;
}
