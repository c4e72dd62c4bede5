// SPDX-License-Identifier: MIT
#include "sysmgr/device/DiskError.h"

#include <cerrno>
#include <cstring>

DiskError DiskError::FromErrno(int error, const std::string& what) {
  const std::string text = what + ": " + std::strerror(error);
  switch (error) {
    case ENOSPC:
    case EDQUOT:
      return {Kind::kFull, text};
    case EROFS:
    case EACCES:
    case EPERM:
      return {Kind::kReadOnly, text};
    default:
      return {Kind::kFails, text};
  }
}

Sentence DiskError::Words() const {
  switch (kind_) {
    case Kind::kFull:
      return Sentence::kStorageFull;
    case Kind::kReadOnly:
      return Sentence::kStorageReadOnly;
    default:
      return Sentence::kStorageFails;
  }
}
