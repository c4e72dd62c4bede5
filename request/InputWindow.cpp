// SPDX-License-Identifier: MIT
#include "request/InputWindow.h"

#include <unistd.h>

#include <cerrno>

std::size_t ReadInput(char* block, std::size_t size) {
  ssize_t count;
  do {
    count = read(STDIN_FILENO, block, size);
  } while (count < 0 && errno == EINTR);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void InputWindow::Fill() {
  next_ = block_;
  end_ = block_ + ReadInput(block_, sizeof block_);
}
