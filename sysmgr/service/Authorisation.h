// SPDX-License-Identifier: MIT
//
// The secret that clients send with every request. It is read once, at the start, and never logged.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class Authorisation {
 public:
  // A secret is a short line.
  static constexpr std::size_t kMaxBytes = 4096;

  // Expects no secret: clients send the empty text.
  Authorisation() = default;

  // Reads the content of the file without a final newline. Without the file, no secret is expected.
  // Throws StartFailure when the file can't be used: its mode allows more than 0640, it is not a
  // regular file, it is empty or too long, or it can't be read.
  static Authorisation FromFile(const std::string& path);

  // Takes a time that depends only on the size of `shown`.
  bool Matches(std::string_view shown) const;

  bool IsExpected() const { return !secret_.empty(); }

 private:
  std::string secret_;
};
