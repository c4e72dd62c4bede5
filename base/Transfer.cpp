// SPDX-License-Identifier: MIT
#include "base/Transfer.h"

#include <unistd.h>

#include <cerrno>

ssize_t ReadSome(int descriptor, char* bytes, std::size_t size) {
  ssize_t count = 0;
  do {
    count = read(descriptor, bytes, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

ssize_t ReadUpTo(int descriptor, char* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = ReadSome(descriptor, bytes + done, size - done);
    if (count < 0) return count;
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(done);
}

bool WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}
