// SPDX-License-Identifier: MIT
#include "base/RegularFile.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace {

constexpr int kReadFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// A file name has no NUL byte; the bytes before it would name another file.
bool IsFileName(const std::string& path) {
  return path.find('\0') == std::string::npos;
}

// Takes the result of an open call, and errno.
OpenedFile Opened(int descriptor) {
  OpenedFile file;
  file.descriptor = Descriptor(descriptor);
  if (!file.descriptor.IsOpen() || fstat(file.descriptor.Number(), &file.status) != 0) {
    file.error = errno;
    file.descriptor = Descriptor();
  }
  return file;
}

OpenedFile Failed(int error) {
  OpenedFile file;
  file.error = error;
  return file;
}

}  // namespace

OpenedFile OpenToRead(const std::string& path, int flags) {
  if (!IsFileName(path)) return Failed(ENOENT);
  return Opened(open(path.c_str(), kReadFlags | flags));
}

#ifdef SYS_openat2

OpenedFile OpenWithoutLinks(const std::string& path) {
  if (!IsFileName(path)) return Failed(ENOENT);
  // The C library has no function for it, and the kernel's headers may be missing.
  constexpr std::uint64_t kResolveNoSymlinks = 4;
  const std::uint64_t how[] = {kReadFlags, 0, kResolveNoSymlinks};  // flags, mode, resolution
  return Opened(static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), how, sizeof how)));
}

#else

OpenedFile OpenWithoutLinks(const std::string& /*path*/) {
  return Failed(ENOSYS);
}

#endif

OpenedFile OpenRegularFile(const std::string& path, int flags) {
  OpenedFile file = OpenToRead(path, flags);
  if (!file.IsRegular()) file.descriptor = Descriptor();
  return file;
}
