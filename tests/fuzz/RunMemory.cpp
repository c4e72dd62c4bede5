// SPDX-License-Identifier: MIT
#include "tests/fuzz/RunMemory.h"

#include <cstdlib>
#include <unordered_set>

extern "C" {

using MallocHook = void (*)(const volatile void* block, std::size_t size);
using FreeHook = void (*)(const volatile void* block);

// NOLINTBEGIN(bugprone-reserved-identifier)
int __sanitizer_install_malloc_and_free_hooks(MallocHook, FreeHook) __attribute__((weak));

// Blocks of an abandoned run are freed without knowing whether malloc or new made them.
const char* __asan_default_options();
const char* __asan_default_options() {
  return "alloc_dealloc_mismatch=0";
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

// Never destroyed: blocks are freed until the very end of the process.
auto& gBlocks = *new std::unordered_set<const volatile void*>;
bool gCounting = false;
bool gInAccount = false;  // the account's own memory is none of the run's

void Count(const volatile void* block, std::size_t /*size*/) {
  if (!gCounting || gInAccount || block == nullptr) return;
  gInAccount = true;
  gBlocks.insert(block);
  gInAccount = false;
}

void Forget(const volatile void* block) {
  if (gInAccount || gBlocks.empty()) return;
  gInAccount = true;
  gBlocks.erase(block);
  gInAccount = false;
}

}  // namespace

void RunMemory::Start() {
  static const bool installed = __sanitizer_install_malloc_and_free_hooks != nullptr &&
                                __sanitizer_install_malloc_and_free_hooks(Count, Forget) != 0;
  gCounting = installed;
}

void RunMemory::Stop() {
  gCounting = false;
}

std::size_t RunMemory::Rest() {
  return gBlocks.size();
}

void RunMemory::FreeTheRest() {
  gInAccount = true;
  for (const volatile void* block : gBlocks) std::free(const_cast<void*>(block));
  gBlocks.clear();
  gInAccount = false;
}
