// SPDX-License-Identifier: MIT
#include "tests/TestFolder.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

TestFolder::TestFolder(const std::string& parent) : path_(parent + "/XXXXXX") {
  fs::create_directories(parent);
  if (mkdtemp(path_.data()) == nullptr) {
    std::perror(path_.c_str());
    std::abort();
  }
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TestFolder::Write(const std::string& name, const std::string& content) const {
  const fs::path file = fs::path(path_) / name;
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
  return file.string();
}
