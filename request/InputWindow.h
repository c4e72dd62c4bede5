// SPDX-License-Identifier: MIT
//
// Standard input, seen through a window: bytes are read in blocks and taken in any number. The
// window is all the memory that a body of any size takes.
#pragma once

#include <cstddef>
#include <string_view>

// Reads up to `size` bytes of standard input; 0 at its end. Input that can't be read has ended.
std::size_t ReadInput(char* block, std::size_t size);

class InputWindow {
 public:
  static constexpr int kEnd = -1;

  InputWindow() : next_(block_), end_(block_) {}
  InputWindow(const InputWindow&) = delete;
  InputWindow& operator=(const InputWindow&) = delete;

  // The bytes at hand, good until the next call of anything but Skip. Waits for input when there
  // are none; "" only at the end of the input.
  std::string_view Ahead() {
    if (next_ == end_) Fill();
    return {next_, static_cast<std::size_t>(end_ - next_)};
  }

  // Takes `count` of the bytes that Ahead has shown.
  void Skip(std::size_t count) { next_ += count; }

  // Takes one byte, 0 to 255; kEnd at the end of the input.
  int Get() {
    if (next_ == end_) Fill();
    return next_ != end_ ? static_cast<unsigned char>(*next_++) : kEnd;
  }

 private:
  // Large enough that reading is a small part of the time; twice as much saves a tenth of it, and
  // takes as much memory again.
  static constexpr std::size_t kBlockBytes = 32768;

  void Fill();

  const char* next_;
  const char* end_;
  char block_[kBlockBytes];  // left unset: pages that are never read into cost nothing
};
