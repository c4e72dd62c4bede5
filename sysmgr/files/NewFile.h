// SPDX-License-Identifier: MIT
//
// A file that replaces another one whole or not at all. The rule to know: until Commit has
// succeeded, the old file is in place, even after a power cut.
#pragma once

#include <string>
#include <string_view>

#include "base/Descriptor.h"
#include "sysmgr/log/Outcome.h"

class NewFile {
 public:
  // Until it is committed, the new content is in a file named `path` and this suffix. A leftover
  // with that name is replaced.
  static constexpr const char* kSuffix = ".new";

  explicit NewFile(std::string path);
  // Removes the new file unless it was committed.
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // The first Write fails if the file couldn't be made.
  Outcome Write(std::string_view bytes);
  Outcome Sync();
  Outcome Commit();  // syncs too

  // The descriptor, for reading the content back; below 0 when the file couldn't be made.
  int Number() const { return descriptor_.Number(); }

 private:
  std::string path_;
  Descriptor descriptor_;
  int makingError_;
  bool committed_ = false;
};
