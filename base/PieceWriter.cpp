// SPDX-License-Identifier: MIT
#include "base/PieceWriter.h"

#include <cerrno>

PieceWriter::PieceWriter(FILE* stream)
    : stream_(stream), descriptor_(std::fflush(stream) == 0 ? fileno(stream) : -1) {}

void PieceWriter::Write(std::string_view piece) {
  if (piece.empty()) return;
  if (count_ == kMaxPieces) Flush();
  pieces_[count_++] = {const_cast<char*>(piece.data()), piece.size()};  // NOLINT: writev only reads
}

void PieceWriter::Flush() {
  std::size_t done = 0;
  while (descriptor_ >= 0 && done < count_) {
    ssize_t written = writev(descriptor_, pieces_ + done, static_cast<int>(count_ - done));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) break;
    for (; done < count_ && static_cast<std::size_t>(written) >= pieces_[done].iov_len; ++done) {
      written -= static_cast<ssize_t>(pieces_[done].iov_len);
    }
    if (written == 0) continue;
    pieces_[done].iov_base = static_cast<char*>(pieces_[done].iov_base) + written;
    pieces_[done].iov_len -= static_cast<std::size_t>(written);
  }
  // What the system refused fails once more here, which the stream notes.
  for (; done < count_; ++done) {
    std::fwrite(pieces_[done].iov_base, 1, pieces_[done].iov_len, stream_);
  }
  count_ = 0;
}
