// SPDX-License-Identifier: MIT
#include "request/UploadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <utility>

namespace {

constexpr mode_t kMode = 0600;

// Another upload may make its file between our removing the last one and making our own. Whoever
// comes last wins; a few rounds settle it, and an end must be.
constexpr int kMaxTries = 16;

// Exclusive: an existing file, of whatever kind, is never opened, so none can be written through
// or keep us waiting, and two uploads never share one.
int MakeFile(const char* path) {
  for (int i = 0; i < kMaxTries; ++i) {
    if (unlink(path) != 0 && errno != ENOENT) return -1;
    const int file = open(path, O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, kMode);
    if (file < 0 && errno == EEXIST) continue;
    if (file >= 0) fchmod(file, kMode);  // whatever the umask took away
    return file;
  }
  return -1;
}

}  // namespace

UploadFile::UploadFile(std::string path)
    : path_(std::move(path)), file_(MakeFile(path_.c_str())), size_(file_ < 0 ? kFailed : 0) {
  std::signal(SIGXFSZ, SIG_IGN);
}

UploadFile::~UploadFile() {
  if (file_ >= 0) close(file_);
}

void UploadFile::Write(std::string_view bytes) {
  while (size_ != kFailed && !bytes.empty()) {
    const ssize_t count = write(file_, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      size_ = kFailed;
      return;
    }
    size_ += count;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void UploadFile::Remove() const {
  struct stat own;
  struct stat found;
  if (file_ < 0 || fstat(file_, &own) != 0 || lstat(path_.c_str(), &found) != 0) return;
  if (own.st_dev == found.st_dev && own.st_ino == found.st_ino) unlink(path_.c_str());
}
