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

// Another upload may make its file after this one has removed the old file and before it makes its
// own. Then this one tries again; the last upload wins. The number of tries is bounded.
constexpr int kMaxTries = 16;

// Never opens an existing file of any kind: so no link is followed, no FIFO makes the program wait,
// and two uploads never share a file.
int MakeFile(const char* path) {
  for (int i = 0; i < kMaxTries; ++i) {
    if (unlink(path) != 0 && errno != ENOENT) return -1;
    const int file = open(path, O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, kMode);
    if (file < 0 && errno == EEXIST) continue;
    if (file >= 0) fchmod(file, kMode);  // restores what the umask removed
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
