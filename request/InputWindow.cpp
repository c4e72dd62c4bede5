// SPDX-License-Identifier: MIT
#include "request/InputWindow.h"

#include <unistd.h>

#include "base/Transfer.h"

std::size_t ReadInput(char* block, std::size_t size) {
  const ssize_t count = ReadSome(STDIN_FILENO, block, size);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void InputWindow::Fill() {
  next_ = block_;
  end_ = block_ + ReadInput(block_, sizeof block_);
}
