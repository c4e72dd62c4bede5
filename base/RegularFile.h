// SPDX-License-Identifier: MIT
//
// Opens files for reading where others may have put something else at their path. Opening never
// waits, for example for the writer of a named pipe, and the kind of file is read from the open
// descriptor, so that the file can't be replaced between check and use.
#pragma once

#include <sys/stat.h>

#include <string>

#include "base/Descriptor.h"

struct OpenedFile {
  Descriptor descriptor;
  int error = 0;            // the errno if it could not be opened
  struct stat status = {};  // of the opened file, even if it was closed again

  bool IsRegular() const { return S_ISREG(status.st_mode); }
  bool IsFolder() const { return S_ISDIR(status.st_mode); }
};

// Opens a file of any kind. `flags` are added to those of open().
OpenedFile OpenToRead(const std::string& path, int flags = 0);

// The same, but only if no folder on the path, nor the file, is a symbolic link. Fails with ENOSYS
// where the system can't tell (Linux before 5.6).
OpenedFile OpenWithoutLinks(const std::string& path);

// As OpenToRead, but closes a file that is not a regular one; `error` is 0 then.
OpenedFile OpenRegularFile(const std::string& path, int flags = 0);
