// SPDX-License-Identifier: MIT
//
// A text that grows at its end and is handed over as malloc'ed memory, as pages need it. It ends
// before the first NUL byte, because such a text can't hold one.
//
// When memory is short, the text is lost: Release returns null, and other calls have no effect.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

class WGLEscaper;

class OutputText {
 public:
  OutputText() = default;
  ~OutputText();
  OutputText(const OutputText&) = delete;
  OutputText& operator=(const OutputText&) = delete;

  void Append(std::string_view text) {
    if (text.empty() || !Reserve(text.size())) return;
    std::memcpy(text_ + size_, text.data(), text.size());
    size_ += text.size();
  }
  void AppendNumber(unsigned number);

  // Appends `text`, escaped by `escaper`.
  void AppendEscaped(const WGLEscaper& escaper, std::string_view text);

  std::size_t Size() const { return size_; }

  // Says that about so many bytes follow, so that a text of usual size moves only once.
  void Expect(std::size_t size) { Reserve(size < kMaxExpectedBytes ? size : kMaxExpectedBytes); }

  // Returns the NUL-terminated text, which the caller frees, and makes this one empty.
  char* Release();

 private:
  // Memory that isn't used in the end counts against the process's limit.
  static constexpr std::size_t kMaxExpectedBytes = std::size_t{256} * 1024;

  // Makes room for `size` bytes and a NUL byte after them. Returns false when memory is short.
  bool Reserve(std::size_t size) { return size < capacity_ - size_ || Grow(size); }
  bool Grow(std::size_t size);

  char* text_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  bool failed_ = false;
};
