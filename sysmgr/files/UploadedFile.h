// SPDX-License-Identifier: MIT
//
// The file that a page has uploaded. The rule to know: it stands in a folder where anybody may put
// anything, so only a regular file of our own user is ever opened, and no link is followed.
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
  // One that nobody acts on is forgotten after this time; there may be secrets in it.
  static constexpr std::int64_t kMaxAgeSeconds = 600;

  explicit UploadedFile(std::string path) : path_(std::move(path)) {}

  struct Opened {
    Outcome outcome;
    Descriptor file;        // for reading, on success
    std::size_t bytes = 0;  // its size
    dev_t device = 0;       // which file it was; both 0 when there was none
    ino_t inode = 0;
  };
  Opened Open() const;

  // Reads all of it, at most `maxBytes`. After a failure `content` is empty.
  static Outcome Read(const Opened& opened, std::size_t maxBytes, std::string& content);

  // Removes what Open found, whatever it was, unless something newer stands in its place. A link is
  // removed, not what it points to.
  void Delete(const Opened& opened) const;

  // Removes what is there now, if it is a regular file of our own user.
  void DeleteOurs() const;

  // The same for a file that has stood there unchanged for kMaxAgeSeconds of such calls. `now`:
  // seconds that never run backwards; the time of day may jump while a file waits.
  void DeleteOld(std::int64_t now);

 private:
  std::string path_;
  ino_t seenInode_ = 0;  // of the file that the last DeleteOld has found
  timespec seenChange_{};
  std::int64_t seenSince_ = 0;
};
