// SPDX-License-Identifier: MIT
#include "author/NewCommand.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "author/Options.h"
#include "author/system/Failure.h"

namespace fs = std::filesystem;

int LayOutSite(const Options& options) {
  if (options.files.size() != 1) throw Failure("new takes the name of a folder");
  const fs::path folder = options.files[0];
  std::error_code failed;
  if (fs::exists(folder) && !fs::is_empty(folder, failed)) {
    throw Failure("'" + folder.string() + "' is there already, and not an empty folder");
  }
  for (const NewFile& each : NewSite()) {
    const fs::path path = folder / each.name;
    fs::create_directories(path.parent_path(), failed);
    std::ofstream file(path);
    file << each.text;
    if (!file.flush()) throw Failure("can't write '" + path.string() + "'");
  }
  std::printf("%s is laid out. Check it:  vistel check --root %s\n", folder.c_str(),
              folder.c_str());
  return 0;
}
