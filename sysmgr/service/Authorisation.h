// SPDX-License-Identifier: MIT
//
// The secret that clients show with every request. It is read once, at start, and never logged.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class Authorisation {
 public:
  // A secret is a line, not a document.
  static constexpr std::size_t kMaxBytes = 4096;

  // Expects no secret: clients show the empty text.
  Authorisation() = default;

  // The content of the file without a final newline. Without the file no secret is expected.
  // Throws StartFailure when there is one that can't be used: it is open beyond mode 0640, is no
  // regular file, is empty or too long, or can't be read.
  static Authorisation FromFile(const std::string& path);

  // In a time that depends on the size of `shown` alone.
  bool Matches(std::string_view shown) const;

  bool IsExpected() const { return !secret_.empty(); }

 private:
  std::string secret_;
};
