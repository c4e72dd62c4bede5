// SPDX-License-Identifier: MIT
#include "sysmgr/files/UploadedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/RegularFile.h"
#include "base/Transfer.h"
#include "sysmgr/log/Log.h"

namespace {

bool IsOurs(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

// Whether we may read it as an upload. A second name means that somebody has put one of our own
// files there, or keeps the upload to change it while we read.
Outcome OutcomeOf(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return Sentence::kUploadNotReadable;
  if (!IsOurs(status)) return Sentence::kUploadOfOther;
  return status.st_nlink > 1 ? Outcome(Sentence::kUploadLinked) : Outcome();
}

}  // namespace

UploadedFile::Opened UploadedFile::Open() const {
  Opened opened;
  struct stat status {};
  if (lstat(path_.c_str(), &status) == 0) {
    opened.device = status.st_dev;
    opened.inode = status.st_ino;
  }
  OpenedFile found = OpenRegularFile(path_, O_NOFOLLOW);
  if (found.error == ENOENT) {
    opened.outcome = Sentence::kNoUpload;
    return opened;
  }
  if (found.error != 0) {
    Log::Write("upload file '" + path_ + "' can't be opened: " + std::strerror(found.error),
               Log::Priority::kWarning);
    opened.outcome = Sentence::kUploadNotReadable;
    return opened;
  }
  opened.outcome = OutcomeOf(found.status);
  if (!opened.outcome.IsSuccess()) {
    Log::Write("upload file '" + path_ + "': " + opened.outcome.Text(), Log::Priority::kWarning);
    return opened;
  }
  opened.file = std::move(found.descriptor);
  opened.device = found.status.st_dev;
  opened.inode = found.status.st_ino;
  opened.bytes = static_cast<std::size_t>(found.status.st_size);
  return opened;
}

Outcome UploadedFile::Read(const Opened& opened, std::size_t maxBytes, std::string& content) {
  content.clear();
  if (!opened.outcome.IsSuccess()) return opened.outcome;
  if (opened.bytes > maxBytes) return Sentence::kUploadTooLarge;
  content.resize(opened.bytes);
  const ssize_t count = ReadUpTo(opened.file.Number(), content.data(), content.size());
  if (count == static_cast<ssize_t>(content.size())) return {};
  // The file has become shorter: another process is still writing it.
  content.clear();
  return Sentence::kUploadNotReadable;
}

void UploadedFile::Delete(const Opened& opened) const {
  struct stat status {};
  if (lstat(path_.c_str(), &status) != 0 || status.st_dev != opened.device ||
      status.st_ino != opened.inode) {
    return;
  }
  if (unlink(path_.c_str()) != 0 && errno != ENOENT) {
    Log::Write("upload file '" + path_ + "' can't be removed: " + std::strerror(errno),
               Log::Priority::kWarning);
  }
}

void UploadedFile::DeleteOurs() const {
  struct stat status {};
  if (lstat(path_.c_str(), &status) == 0 && IsOurs(status)) unlink(path_.c_str());
}

void UploadedFile::DeleteOld(std::int64_t now) {
  struct stat status {};
  if (lstat(path_.c_str(), &status) != 0) {
    seenInode_ = 0;
    return;
  }
  if (status.st_ino != seenInode_ || status.st_mtim.tv_sec != seenChange_.tv_sec ||
      status.st_mtim.tv_nsec != seenChange_.tv_nsec) {
    seenInode_ = status.st_ino;
    seenChange_ = status.st_mtim;
    seenSince_ = now;
  } else if (now - seenSince_ >= kMaxAgeSeconds) {
    DeleteOurs();
  }
}
