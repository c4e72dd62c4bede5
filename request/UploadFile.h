// SPDX-License-Identifier: MIT
//
// The file that keeps an upload. It is always a new file, made in a folder where anyone may have
// left anything: what stood at the path goes, and is never written to, through or into.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "request/UploadOutput.h"

class UploadFile : public UploadOutput {
 public:
  // Makes the file, readable and writable for its owner alone. When it can't be made, everything
  // written is dropped. From then on a file limit is a failed write to this process, not a signal.
  explicit UploadFile(std::string path);
  ~UploadFile() override;
  UploadFile(const UploadFile&) = delete;
  UploadFile& operator=(const UploadFile&) = delete;

  // After a write that failed, nothing more is written.
  void Write(std::string_view bytes) override;

  // Bytes; kFailed when the file couldn't be made or a write has failed.
  static constexpr std::int64_t kFailed = -1;
  std::int64_t Size() const { return size_; }

  // Removes the file, unless another one stands at its path by now.
  void Remove() const;

 private:
  std::string path_;
  int file_;  // negative when it couldn't be made
  std::int64_t size_;
};
