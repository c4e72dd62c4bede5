// SPDX-License-Identifier: MIT
//
// Why the disk did not do what it was asked.
#pragma once

#include <stdexcept>
#include <string>

#include "sysmgr/log/Sentences.h"

class DiskError : public std::runtime_error {
 public:
  enum class Kind {
    kFull,
    kReadOnly,  // or not ours to write
    kInUse,     // another process has the file
    kDamaged,   // the file is not what it should be
    kFails,
  };

  DiskError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  // Of a system call that failed with `error`; `what` could not be done.
  static DiskError FromErrno(int error, const std::string& what);

  Kind Cause() const { return kind_; }

  // What a client is told.
  Sentence Words() const;

 private:
  Kind kind_;
};
