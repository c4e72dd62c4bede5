// SPDX-License-Identifier: MIT
//
// A text that grows at its end and is handed over as malloc'ed memory, as pages need it. It ends
// before the first NUL byte, because such a text can't hold one.
//
// When memory is short, the text is lost: Release returns null, and other calls have no effect.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "values/WGLEscaper.h"

class OutputText {
 public:
  OutputText() = default;
  ~OutputText();
  OutputText(const OutputText&) = delete;
  OutputText& operator=(const OutputText&) = delete;

  void Append(std::string_view text) {
    if (text.empty() || !Reserve(text.size())) return;
    Copy(text_ + size_, text);
    size_ += text.size();
  }
  void AppendNumber(unsigned number);

  // Appends `text`, escaped by `escaper`.
  void AppendEscaped(const WGLEscaper& escaper, std::string_view text) {
    if (text.size() > kPieceBytes) return AppendInPieces(escaper, text);
    if (!Reserve(text.size() * escaper.Growth())) return;
    size_ = static_cast<std::size_t>(escaper.EscapeTo(text_ + size_, text) - text_);
  }

  std::size_t Size() const { return size_; }

  // Says that about so many bytes follow, so that a text of usual size moves only once.
  void Expect(std::size_t size) { Reserve(size < kMaxExpectedBytes ? size : kMaxExpectedBytes); }

  // Returns the NUL-terminated text, which the caller frees, and makes this one empty.
  char* Release();

 private:
  // Memory that isn't used in the end counts against the process's limit.
  static constexpr std::size_t kMaxExpectedBytes = std::size_t{256} * 1024;

  // Larger than nearly all values.
  static constexpr std::size_t kPieceBytes = 4096;

  // Copies the few bytes between two values without a call of memcpy: word by word, of which the
  // last may overlap the one before.
  static void Copy(char* out, std::string_view text) {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    if (text.size() < kWord || text.size() > kWord * 4) {
      std::memcpy(out, text.data(), text.size());
      return;
    }
    const std::size_t last = text.size() - kWord;
    for (std::size_t i = 0; i < last; i += kWord) std::memcpy(out + i, text.data() + i, kWord);
    std::memcpy(out + last, text.data() + last, kWord);
  }

  // The same as AppendEscaped for a large text, which seldom grows as much as it could.
  void AppendInPieces(const WGLEscaper& escaper, std::string_view text);

  // Makes room for `size` bytes and a NUL byte after them. Returns false when memory is short.
  bool Reserve(std::size_t size) { return size < capacity_ - size_ || Grow(size); }
  bool Grow(std::size_t size);

  char* text_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  bool failed_ = false;
};
