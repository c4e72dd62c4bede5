// SPDX-License-Identifier: MIT
//
// The account is a hash table in static memory, because it is written from inside the allocator.
#include "tests/fuzz/RunMemory.h"

#include <cstdint>
#include <cstdlib>

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

constexpr unsigned kSlotBits = 20;
constexpr std::size_t kSlots = std::size_t{1} << kSlotBits;
// Beyond it, looking up would take too many steps.
constexpr std::size_t kMaxTouchedSlots = kSlots / 2;

// Null: never used; kGone: the block was freed.
const volatile void* gSlots[kSlots];
std::size_t gTouched[kMaxTouchedSlots];  // the slots in use, so that clearing costs no more
std::size_t gTouchedCount = 0;
std::size_t gRest = 0;
bool gCounting = false;
bool gOverflowed = false;

const char kGoneMark = 0;
const volatile void* const kGone = &kGoneMark;

std::size_t FirstSlot(const volatile void* block) {
  constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
  return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(block) * kGoldenRatio) >>
                                  (64 - kSlotBits));
}

void Count(const volatile void* block, std::size_t /*size*/) {
  if (!gCounting || block == nullptr) return;
  if (gTouchedCount == kMaxTouchedSlots) {
    gOverflowed = true;
    return;
  }
  std::size_t slot = FirstSlot(block);
  while (gSlots[slot] != nullptr && gSlots[slot] != kGone) slot = (slot + 1) % kSlots;
  if (gSlots[slot] == nullptr) gTouched[gTouchedCount++] = slot;
  gSlots[slot] = block;
  ++gRest;
}

void Forget(const volatile void* block) {
  if (gRest == 0 || block == nullptr) return;
  std::size_t slot = FirstSlot(block);
  while (gSlots[slot] != block) {
    if (gSlots[slot] == nullptr) return;
    slot = (slot + 1) % kSlots;
  }
  gSlots[slot] = kGone;
  --gRest;
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

RunMemory::Pause::Pause() : counting_(gCounting) {
  gCounting = false;
}

RunMemory::Pause::~Pause() {
  gCounting = counting_;
}

std::size_t RunMemory::Rest() {
  return gOverflowed ? 0 : gRest;
}

void RunMemory::FreeTheRest(bool release) {
  for (std::size_t i = 0; i < gTouchedCount; ++i) {
    const volatile void* const block = gSlots[gTouched[i]];
    gSlots[gTouched[i]] = nullptr;
    if (block == kGone || !release) continue;
    gRest = 0;  // Forget need not look for it
    std::free(const_cast<void*>(block));
  }
  gTouchedCount = 0;
  gRest = 0;
  gOverflowed = false;
}
