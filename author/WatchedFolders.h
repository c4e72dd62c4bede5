// SPDX-License-Identifier: MIT
//
// Waits until something changes in folders (inotify).
#pragma once

#include <string>

#include "base/Descriptor.h"

class WatchedFolders {
 public:
  // Watches the folder and those below it from now on. Throws Failure.
  explicit WatchedFolders(const std::string& folder);

  // Also watches a file's folder.
  void AddFolderOf(const std::string& file);

  // Returns when a file has been saved, moved or removed since the beginning, and others that are
  // saved with it have had a moment to follow.
  void Wait() const;

 private:
  void Add(const std::string& folder);

  Descriptor events_;
};
