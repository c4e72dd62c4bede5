// SPDX-License-Identifier: MIT
//
// The owner of an open descriptor, which closes it exactly once.
#pragma once

#include <unistd.h>

#include <utility>

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool IsOpen() const { return number_ >= 0; }
  int Number() const { return number_; }  // below 0 when there is none

  // Hands the descriptor over to the caller, who closes it from now on.
  int Release() { return std::exchange(number_, -1); }

 private:
  int number_;
};
