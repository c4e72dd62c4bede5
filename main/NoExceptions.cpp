// SPDX-License-Identifier: MIT
//
// This program throws nothing, and nothing in it could catch. Where the standard library would
// throw, it ends the process instead: memory has run out, or a bound was broken.
//
// libstdc++ asks these functions to throw on its behalf. Having them here leaves nothing of it in a
// static program: neither the demangler, 70 KB with what belongs to it, nor the reserve for
// exceptions, which would be taken from the heap at every start.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

namespace {

// Without the clean-up of exit(), which could need what has just failed.
[[noreturn]] void Fail(const char* message) {
  std::fprintf(stderr, "%s\n", message);
  std::fflush(stdout);
  std::_Exit(2);
}

void* Allocate(std::size_t size) {
  void* memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) Fail("out of dynamic memory");
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
  Fail("out of dynamic memory");
}
void __throw_bad_array_new_length() {
  Fail("out of dynamic memory");
}

}  // namespace std

// The library's own instance is compiled with exceptions.
template class std::basic_string<char>;
