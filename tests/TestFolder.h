// SPDX-License-Identifier: MIT
//
// A folder for one test, which the destructor removes with everything in it; and functions for
// whole files.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

class TestFolder {
 public:
  // Makes a new folder below `parent`, which is made too if it is missing.
  explicit TestFolder(const std::string& parent) : path_(parent + "/XXXXXX") {
    std::filesystem::create_directories(parent);
    if (mkdtemp(path_.data()) == nullptr) abort();
  }
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::string& Path() const { return path_; }
  std::string Path(const std::string& name) const { return path_ + "/" + name; }

  // Writes a file, named relative to the folder, and makes the folders in its name. Returns its
  // path.
  std::string Write(const std::string& name, const std::string& content) const {
    const std::string file = Path(name);
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

 private:
  std::string path_;
};

// The content of the file; "" for one that can't be read.
inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}
