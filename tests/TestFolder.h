// SPDX-License-Identifier: MIT
//
// A folder of one test's own, removed with everything in it when the object goes; and files as a
// whole.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

class TestFolder {
 public:
  // Makes a new folder below `parent`, which is made too when it isn't there.
  explicit TestFolder(const std::string& parent);
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::string& Path() const { return path_; }
  std::string Path(const std::string& name) const { return path_ + "/" + name; }

  // Writes a file, given relative to the folder; folders in its name are made. Returns its path.
  std::string Write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

// All of the file; "" for one that can't be read.
inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}
