// SPDX-License-Identifier: MIT
//
// A text that grows at its end and is handed over as malloc'ed memory, the form in which texts
// join a page. NUL bytes, which such a text can't hold, are left out.
//
// When memory is short, the text is lost: Release returns null, everything before is without
// effect.
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

  // Appends `text` as `escaper` makes it.
  void AppendEscaped(const WGLEscaper& escaper, std::string_view text);

  // The NUL-terminated text; the caller frees it. This text is empty again then.
  char* Release();

 private:
  // Makes room for `size` bytes and the NUL byte behind them. False when memory is short.
  bool Reserve(std::size_t size) { return size < capacity_ - size_ || Grow(size); }
  bool Grow(std::size_t size);

  char* text_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  bool failed_ = false;
};
