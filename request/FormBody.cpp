// SPDX-License-Identifier: MIT
#include "request/FormBody.h"

#include <algorithm>
#include <cstddef>

#include "base/Characters.h"
#include "request/InputWindow.h"

namespace {

constexpr std::size_t kBlockBytes = 8192;

}  // namespace

std::string ReadFormBody(std::size_t maxBytes) {
  std::string word;
  char block[kBlockBytes];
  while (const std::size_t count = ReadInput(block, sizeof block)) {
    const char* const blockEnd = block + count;
    const char* begin = block;
    if (word.empty()) begin = std::find_if_not(begin, blockEnd, IsWhiteSpace);
    const char* const end = std::find_if(begin, blockEnd, IsWhiteSpace);
    word.append(begin, end);
    if (end != blockEnd || word.size() > maxBytes) break;
  }
  return word;
}
