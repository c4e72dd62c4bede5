// SPDX-License-Identifier: MIT
//
// This program neither throws nor catches exceptions. Where the standard library would throw, the
// process ends instead: memory has run out, or a bound was exceeded.
//
// libstdc++ calls these functions to throw. Because they are defined here, a static program links
// nothing of libstdc++: neither the demangler, which takes 70 KB with everything it needs, nor the
// reserve for exceptions, which would be allocated at every start.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "base/Response.h"

namespace {

// Skips the clean-up of exit(), which could need what has just failed. A message of the library's
// own goes to the log only.
[[noreturn]] void Fail(const char* message) {
  std::fprintf(stderr, "%s\n", message);
  std::fflush(stdout);
  Response::WriteFailure(Response::kOutOfMemory);
  std::_Exit(2);
}

void* Allocate(std::size_t size) {
  void* memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) Fail(Response::kOutOfMemory);
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace std {

void __throw_length_error(const char* message) {
  Fail(message);
}
void __throw_logic_error(const char* message) {
  Fail(message);
}
void __throw_out_of_range_fmt(const char* format, ...) {
  Fail(format);
}
void __throw_bad_alloc() {
  Fail(Response::kOutOfMemory);
}
void __throw_bad_array_new_length() {
  Fail(Response::kOutOfMemory);
}

}  // namespace std

// The library's own instance is compiled with exceptions.
template class std::basic_string<char>;
