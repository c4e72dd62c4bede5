// SPDX-License-Identifier: MIT
//
// The file that a page has uploaded. The rule to know: any user may put anything into its folder,
// so only a regular file of our own user is ever opened, and no link is followed.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <utility>

#include "base/Descriptor.h"
#include "sysmgr/log/Outcome.h"

class UploadedFile {
 public:
  // A file that no action takes is removed after this time, because it may hold secrets.
  static constexpr std::int64_t kMaxAgeSeconds = 600;

  explicit UploadedFile(std::string path) : path_(std::move(path)) {}

  struct Opened {
    Outcome outcome;
    Descriptor file;        // for reading, on success
    std::size_t bytes = 0;  // its size
    dev_t device = 0;       // identifies the file; both 0 when there was none
    ino_t inode = 0;
  };
  Opened Open() const;

  // Reads the whole file, at most `maxBytes`. After a failure, `content` is empty.
  static Outcome Read(const Opened& opened, std::size_t maxBytes, std::string& content);

  // Removes the file that Open found, of any kind, unless a newer one has replaced it. Removes a
  // link, not its target.
  void Delete(const Opened& opened) const;

  // Removes the present file, if it is a regular file of our own user.
  void DeleteOurs() const;

  // The same for a file that such calls have found unchanged for kMaxAgeSeconds. `now`: seconds of
  // the monotonic clock, because the time of day may jump while a file waits.
  void DeleteOld(std::int64_t now);

 private:
  std::string path_;
  ino_t seenInode_ = 0;  // of the file that the last DeleteOld found
  timespec seenChange_{};
  std::int64_t seenSince_ = 0;
};
