// SPDX-License-Identifier: MIT
//
// The file that keeps an upload. It is always a new file, because anybody may have left anything in
// its folder: whatever exists at the path is removed, and is never written to, through or into.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/Descriptor.h"
#include "request/UploadOutput.h"

class UploadFile : public UploadOutput {
 public:
  // Makes the file, readable and writable for its owner only. If that fails, all writes are
  // dropped. Also ignores SIGXFSZ, so that a write beyond the file size limit fails instead of
  // ending the process.
  explicit UploadFile(std::string path);
  UploadFile(const UploadFile&) = delete;
  UploadFile& operator=(const UploadFile&) = delete;

  // After a failed write, nothing more is written.
  void Write(std::string_view bytes) override;

  // Bytes; kFailed when the file couldn't be made or a write has failed.
  static constexpr std::int64_t kFailed = -1;
  std::int64_t Size() const { return size_; }

  // Removes the file, unless another file is at its path by now.
  void Remove() const;

 private:
  std::string path_;
  Descriptor file_;
  std::int64_t size_;
};
