// SPDX-License-Identifier: MIT
//
// A folder of one test's own, removed with everything in it when the object goes.
#pragma once

#include <string>

class TestFolder {
 public:
  // Makes a new folder below `parent`, which is made too when it isn't there.
  explicit TestFolder(const std::string& parent);
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::string& Path() const { return path_; }

  // Writes a file, given relative to the folder; folders in its name are made. Returns its path.
  std::string Write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};
