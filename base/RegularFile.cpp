// SPDX-License-Identifier: MIT
#include "base/RegularFile.h"

#include <fcntl.h>

#include <cerrno>

OpenedFile OpenToRead(const std::string& path, int flags) {
  OpenedFile file;
  // A file name has no NUL byte; the bytes before it would name another file.
  if (path.find('\0') != std::string::npos) {
    file.error = ENOENT;
    return file;
  }
  file.descriptor =
      Descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags));
  if (!file.descriptor.IsOpen() || fstat(file.descriptor.Number(), &file.status) != 0) {
    file.error = errno;
    file.descriptor = Descriptor();
  }
  return file;
}

OpenedFile OpenRegularFile(const std::string& path, int flags) {
  OpenedFile file = OpenToRead(path, flags);
  if (!file.IsRegular()) file.descriptor = Descriptor();
  return file;
}
