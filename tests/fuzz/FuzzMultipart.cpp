// SPDX-License-Identifier: MIT
//
// Fuzz target: multipart bodies, against a reader of single bytes. The input's first byte is the
// size of the pieces in which the body arrives, 0 for all at once; the boundary follows up to a
// newline, then the body. In both, 0xFE, a byte and a count stand for that byte 32 times the count,
// so that an input of a few bytes reaches the limits.
#include <algorithm>
#include <string>

#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/MultipartRun.h"

namespace {

constexpr char kRepeat = '\xFE';
constexpr std::size_t kRepeatUnit = 32;
constexpr std::size_t kMaxBytes = 131072;  // two windows

std::string Expand(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size() && result.size() < kMaxBytes; ++i) {
    if (text[i] == kRepeat && i + 2 < text.size()) {
      const std::size_t count = static_cast<unsigned char>(text[i + 2]);
      result.append(count * kRepeatUnit, text[i + 1]);
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string input(data + 1, data + size);
  const std::size_t end = std::min(input.find('\n'), input.size());
  // The content type, which the boundary is a part of, holds no NUL byte.
  std::string boundary = Expand(input.substr(0, end));
  boundary.erase(std::min(boundary.find('\0'), boundary.size()));
  const std::string body = end < input.size() ? Expand(input.substr(end + 1)) : "";
  const std::size_t pieceBytes = data[0] != 0 ? data[0] : kMaxBytes;

  const MultipartOutcome expected = ReferenceMultipart(body, boundary);
  Check(RunMultipart(body, boundary, pieceBytes) == expected, "a body is read as byte by byte");
  return 0;
}
