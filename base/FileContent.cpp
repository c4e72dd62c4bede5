// SPDX-License-Identifier: MIT
#include "base/FileContent.h"

#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "base/Response.h"
#include "base/Transfer.h"

namespace {

// Mapping a file costs about as much as copying this many bytes.
constexpr std::size_t kMinMappedBytes = 65536;

// Room for a file that tells no size.
constexpr std::size_t kMoreBytes = 4096;

[[noreturn]] void EndAfterCut(int /*signal*/) {
  Response::WriteFailure("a file was cut while it was read");
  _exit(FileContent::kCutStatus);
}

}  // namespace

FileContent::~FileContent() {
  if (isMapped_) {
    munmap(data_, size_);
  } else {
    std::free(data_);
  }
}

bool FileContent::Load(int descriptor, std::size_t size) {
  if (size >= kMinMappedBytes && Map(descriptor, size)) return true;
  return Read(descriptor, size);
}

bool FileContent::Map(int descriptor, std::size_t size) {
  void* data = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
  if (data == MAP_FAILED) return false;
  std::signal(SIGBUS, EndAfterCut);
  data_ = static_cast<char*>(data);
  size_ = size;
  isMapped_ = true;
  return true;
}

bool FileContent::Read(int descriptor, std::size_t expected) {
  std::size_t capacity = expected;
  for (;;) {
    if (size_ == capacity) {
      if (size_ == expected && expected != 0) return true;
      capacity = size_ * 2 + kMoreBytes;
    }
    auto* data = static_cast<char*>(std::realloc(data_, capacity));
    if (data == nullptr) return false;
    data_ = data;
    const ssize_t count = ReadSome(descriptor, data_ + size_, capacity - size_);
    if (count <= 0) return count == 0;
    size_ += static_cast<std::size_t>(count);
  }
}
