// SPDX-License-Identifier: MIT
//
// Writes many pieces of text to a stream. The system gets them where they are, many in one call;
// they are not copied into the stream's buffer first. A stream without a descriptor gets them one
// by one.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdio>
#include <string_view>

class PieceWriter {
 public:
  // Flushes the stream first.
  explicit PieceWriter(FILE* stream);
  ~PieceWriter() { Flush(); }
  PieceWriter(const PieceWriter&) = delete;
  PieceWriter& operator=(const PieceWriter&) = delete;

  // The piece must stay as it is until this object ends. Nothing tells of an error but the stream's
  // own indicator, once the stream is flushed.
  void Write(std::string_view piece);

 private:
  // More in one call save nothing more.
  static constexpr std::size_t kMaxPieces = 128;

  void Flush();

  FILE* stream_;
  int descriptor_;  // below 0 for none
  std::size_t count_ = 0;
  iovec pieces_[kMaxPieces];
};
