// SPDX-License-Identifier: MIT
#include "request/FormBody.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace {

constexpr std::size_t kBlockBytes = 8192;

// White space of the C locale, whatever locale the process is in.
bool IsWhiteSpace(char byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

// The number of bytes read; 0 at the end of the input and on an error.
std::size_t ReadBlock(char* block) {
  ssize_t count;
  do {
    count = read(STDIN_FILENO, block, kBlockBytes);
  } while (count < 0 && errno == EINTR);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace

std::string ReadFormBody() {
  std::string word;
  char block[kBlockBytes];
  while (const std::size_t count = ReadBlock(block)) {
    const char* const blockEnd = block + count;
    const char* begin = block;
    if (word.empty()) begin = std::find_if_not(begin, blockEnd, IsWhiteSpace);
    const char* const end = std::find_if(begin, blockEnd, IsWhiteSpace);
    word.append(begin, end);
    if (end != blockEnd) break;
  }
  return word;
}
