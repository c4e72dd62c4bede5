// SPDX-License-Identifier: MIT
#include "request/UploadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "base/Transfer.h"

namespace {

constexpr mode_t kMode = 0600;

// Another upload may make its file after this one has removed the old file and before it makes its
// own. Then this one tries again; the last upload wins. The number of tries is bounded.
constexpr int kMaxTries = 16;

// Never opens an existing file of any kind: so no link is followed, no FIFO makes the program wait,
// and two uploads never share a file.
Descriptor MakeFile(const char* path) {
  for (int i = 0; i < kMaxTries; ++i) {
    if (unlink(path) != 0 && errno != ENOENT) break;
    Descriptor file(open(path, O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, kMode));
    if (!file.IsOpen() && errno == EEXIST) continue;
    if (file.IsOpen()) fchmod(file.Number(), kMode);  // restores what the umask removed
    return file;
  }
  return Descriptor();
}

}  // namespace

UploadFile::UploadFile(std::string path)
    : path_(std::move(path)), file_(MakeFile(path_.c_str())), size_(file_.IsOpen() ? 0 : kFailed) {
  std::signal(SIGXFSZ, SIG_IGN);
}

void UploadFile::Write(std::string_view bytes) {
  if (size_ == kFailed) return;
  const bool written = WriteAll(file_.Number(), bytes);
  size_ = written ? size_ + static_cast<std::int64_t>(bytes.size()) : kFailed;
}

void UploadFile::Remove() const {
  struct stat own;
  struct stat found;
  if (!file_.IsOpen() || fstat(file_.Number(), &own) != 0 || lstat(path_.c_str(), &found) != 0)
    return;
  if (own.st_dev == found.st_dev && own.st_ino == found.st_ino) unlink(path_.c_str());
}
