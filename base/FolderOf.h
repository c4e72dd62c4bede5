// SPDX-License-Identifier: MIT
#pragma once

#include <string>

// The folder of the file `path`; "." if the path names none.
inline std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}
