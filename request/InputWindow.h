// SPDX-License-Identifier: MIT
//
// A window on standard input: reads bytes in blocks and hands them out in any number. A body of any
// size takes only the memory of the window.
#pragma once

#include <cstddef>
#include <string_view>

// Reads up to `size` bytes of standard input; 0 at its end. A read error counts as the end.
std::size_t ReadInput(char* block, std::size_t size);

class InputWindow {
 public:
  static constexpr int kEnd = -1;

  InputWindow() : next_(block_), end_(block_) {}
  InputWindow(const InputWindow&) = delete;
  InputWindow& operator=(const InputWindow&) = delete;

  // The bytes that are there, valid until the next call of anything but Skip. Waits for input when
  // there are none; "" only at the end of the input.
  std::string_view Ahead() {
    if (next_ == end_) Fill();
    return {next_, static_cast<std::size_t>(end_ - next_)};
  }

  // Skips `count` of the bytes that Ahead returned.
  void Skip(std::size_t count) { next_ += count; }

  // Reads one byte, 0 to 255; kEnd at the end of the input.
  int Get() {
    if (next_ == end_) Fill();
    return next_ != end_ ? static_cast<unsigned char>(*next_++) : kEnd;
  }

 private:
  // As much as a pipe holds: one call takes all that a web server has written to it.
  static constexpr std::size_t kBlockBytes = 65536;

  void Fill();

  const char* next_;
  const char* end_;
  char block_[kBlockBytes];  // uninitialised: memory pages that are never written cost nothing
};
