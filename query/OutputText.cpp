// SPDX-License-Identifier: MIT
#include "query/OutputText.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>

namespace {

// Most texts are a single value.
constexpr std::size_t kMinCapacity = 64;

constexpr std::size_t kMaxCapacity = std::numeric_limits<std::size_t>::max() / 2;

}  // namespace

OutputText::~OutputText() {
  std::free(text_);
}

bool OutputText::Grow(std::size_t size) {
  if (failed_) return false;
  if (size < kMaxCapacity - size_) {
    const std::size_t capacity = std::max({kMinCapacity, size_ + size + 1, capacity_ * 2});
    if (auto* text = static_cast<char*>(std::realloc(text_, capacity))) {
      text_ = text;
      capacity_ = capacity;
      return true;
    }
  }
  std::free(text_);
  text_ = nullptr;
  size_ = capacity_ = 0;
  failed_ = true;
  return false;
}

void OutputText::AppendNumber(unsigned number) {
  Append(std::to_string(number));
}

void OutputText::AppendInPieces(const WGLEscaper& escaper, std::string_view text) {
  // One that doesn't grow at all is never moved.
  if (!Reserve(text.size() + kPieceBytes * escaper.Growth())) return;
  for (; !text.empty(); text.remove_prefix(std::min(text.size(), kPieceBytes))) {
    AppendEscaped(escaper, text.substr(0, kPieceBytes));
  }
}

char* OutputText::Release() {
  if (!Reserve(0)) return nullptr;
  text_[size_] = '\0';
  char* const result = text_;
  text_ = nullptr;
  size_ = capacity_ = 0;
  return result;
}
