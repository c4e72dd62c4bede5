// SPDX-License-Identifier: MIT
//
// The content of a file, in memory for as long as this object lives. A large file is mapped instead
// of read. When such a file is cut and the process then uses the lost bytes, it ends with
// kCutStatus, after a line of text if the response has none yet.
#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

class FileContent {
 public:
  static constexpr int kCutStatus = 2;

  FileContent() = default;
  ~FileContent();
  FileContent(FileContent&& other) noexcept { *this = std::move(other); }
  FileContent& operator=(FileContent&& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(isMapped_, other.isMapped_);
    return *this;
  }
  FileContent(const FileContent&) = delete;
  FileContent& operator=(const FileContent&) = delete;

  // Takes the content of an open file. `size` is a regular file's, of which no more is read, and 0
  // for another one. Call it once. Returns false, with errno set, on failure.
  bool Load(int descriptor, std::size_t size);

  std::string_view Bytes() const { return {data_, size_}; }

 private:
  bool Map(int descriptor, std::size_t size);
  bool Read(int descriptor, std::size_t expected);

  char* data_ = nullptr;  // owned
  std::size_t size_ = 0;
  bool isMapped_ = false;
};
