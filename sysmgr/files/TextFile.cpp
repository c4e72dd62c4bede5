// SPDX-License-Identifier: MIT
#include "sysmgr/files/TextFile.h"

bool TextFile::Next(std::string& line) {
  line.clear();
  if (file_ == nullptr) return false;
  int byte = 0;
  while ((byte = std::getc(file_.get())) != EOF && byte != '\n') line += static_cast<char>(byte);
  return byte != EOF || !line.empty();
}
