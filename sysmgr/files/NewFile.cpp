// SPDX-License-Identifier: MIT
//
// Writes under a temporary name, syncs, renames, and syncs the folder: this order makes it safe.
#include "sysmgr/files/NewFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "base/FolderOf.h"
#include "base/Transfer.h"

namespace {

Outcome OutcomeOf(int error) {
  switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return Sentence::kStorageFull;
    case EROFS:
    case EACCES:
    case EPERM:
      return Sentence::kStorageReadOnly;
    default:
      return Sentence::kStorageFails;
  }
}

int Make(const std::string& path) {
  unlink(path.c_str());
  return open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

}  // namespace

NewFile::NewFile(std::string path)
    : path_(std::move(path)), descriptor_(Make(path_ + kSuffix)), makingError_(errno) {}

NewFile::~NewFile() {
  if (descriptor_.IsOpen() && !committed_) unlink((path_ + kSuffix).c_str());
}

Outcome NewFile::Write(std::string_view bytes) {
  if (!descriptor_.IsOpen()) return OutcomeOf(makingError_);
  return WriteAll(descriptor_.Number(), bytes) ? Outcome() : OutcomeOf(errno);
}

Outcome NewFile::Sync() {
  return fsync(descriptor_.Number()) == 0 ? Outcome() : OutcomeOf(errno);
}

Outcome NewFile::Commit() {
  Outcome synced = Sync();
  if (!synced.IsSuccess()) return synced;
  if (std::rename((path_ + kSuffix).c_str(), path_.c_str()) != 0) return OutcomeOf(errno);
  committed_ = true;
  const Descriptor folder(open(FolderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Each of the two files is whole; it is only uncertain which one is there after a power cut.
  if (!folder.IsOpen() || fsync(folder.Number()) != 0) return OutcomeOf(errno);
  return {};
}
