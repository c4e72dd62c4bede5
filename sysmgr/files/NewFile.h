// SPDX-License-Identifier: MIT
//
// A file that takes another one's place whole or not at all. The rule to know: until Commit has
// returned "", the old file is what everybody sees, a power cut included.
#pragma once

#include <string>
#include <string_view>

#include "base/Descriptor.h"
#include "sysmgr/log/Outcome.h"

class NewFile {
 public:
  // What is written stands in `path` with this behind it until it is committed. A leftover of that
  // name is replaced.
  static constexpr const char* kSuffix = ".new";

  explicit NewFile(std::string path);
  // Removes what was not committed.
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // The first Write also tells why the file couldn't be made.
  Outcome Write(std::string_view bytes);
  Outcome Sync();
  Outcome Commit();  // syncs too

  // To read back what was written; below 0 when the file couldn't be made.
  int Number() const { return descriptor_.Number(); }

 private:
  std::string path_;
  Descriptor descriptor_;
  int makingError_;
  bool committed_ = false;
};
