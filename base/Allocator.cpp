// SPDX-License-Identifier: MIT
//
// Replaces the C library's malloc for a process that answers one request and ends: a block comes
// from the end of a region, or is a freed one of the same size. A small page needs no system call
// for its memory.
//
// What a loop frees comes back to it, because sizes belong to classes with little waste. Free
// blocks are never joined, so a process takes at most what each class took at its peak. Freeing a
// block twice ends the process. There are no locks: the program has one thread.
#include <sys/mman.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kAlignment = alignof(std::max_align_t);

// Up to this size, each multiple of the alignment is a class; beyond it, each eighth of a power of
// two.
constexpr unsigned kExactBits = 9;
constexpr std::size_t kExactBytes = std::size_t{1} << kExactBits;
constexpr std::size_t kExactClasses = kExactBytes / kAlignment + 1;
constexpr unsigned kStepBits = 3;

// Larger blocks are mapped by themselves, and go back to the system when they are freed.
constexpr unsigned kLargeBits = 17;
constexpr std::size_t kLargeBytes = std::size_t{1} << kLargeBits;
constexpr std::size_t kClasses = kExactClasses + ((kLargeBits - kExactBits) << kStepBits);
constexpr std::size_t kPageBytes = 4096;

// The first region is part of the program's zeroed data. Memory that no block has needed takes no
// page.
constexpr std::size_t kFirstBytes = std::size_t{64} * 1024;
constexpr std::size_t kRegionBytes = std::size_t{1024} * 1024;

// Stands before the memory of each block. Its size includes the header.
struct Header {
  std::size_t size;  // a multiple of the alignment; plus kFree while the block is free
};
constexpr std::size_t kFree = 1;

struct FreeBlock {
  Header header;
  FreeBlock* next;
};

alignas(kAlignment) char gFirst[kFirstBytes];
// Headers stand in front of aligned memory.
char* gNext = gFirst + kAlignment - sizeof(Header);
char* gEnd = gFirst + kFirstBytes;
FreeBlock* gFree[kClasses];

constexpr std::size_t RoundUp(std::size_t size, std::size_t unit) {
  return (size + unit - 1) & ~(unit - 1);
}

struct Class {
  std::size_t size;
  std::size_t index;
};

// The class of blocks of at least `size` bytes, at most kLargeBytes.
Class ClassOf(std::size_t size) {
  if (size <= kExactBytes) {
    const std::size_t exact = RoundUp(size, kAlignment);
    return {exact, exact / kAlignment};
  }
  const auto bits =
      static_cast<unsigned>(sizeof(long) * 8 - 1) - static_cast<unsigned>(__builtin_clzl(size - 1));
  const unsigned stepShift = bits - kStepBits;
  const std::size_t rounded = RoundUp(size, std::size_t{1} << stepShift);
  const std::size_t step = (rounded >> stepShift) - (std::size_t{1} << kStepBits);
  return {rounded, kExactClasses - 1 + ((bits - kExactBits) << kStepBits) + step};
}

Header* HeaderOf(void* memory) {
  return static_cast<Header*>(memory) - 1;
}

char* EndOf(Header* header) {
  return reinterpret_cast<char*>(header) + header->size;
}

// A large block's mapping begins one alignment before its memory.
char* MappingOf(Header* header) {
  return reinterpret_cast<char*>(header + 1) - kAlignment;
}

std::size_t CapacityOf(const Header* header) {
  return header->size - (header->size > kLargeBytes ? kAlignment : sizeof(Header));
}

char* Map(std::size_t size) {
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return memory != MAP_FAILED ? static_cast<char*>(memory) : nullptr;
}

void* LargeBlock(char* mapping, std::size_t size) {
  Header* header = HeaderOf(mapping + kAlignment);
  header->size = size;
  return header + 1;
}

void* AllocateLarge(std::size_t size) {
  char* mapping = Map(size);
  return mapping != nullptr ? LargeBlock(mapping, size) : nullptr;
}

void* AllocateSmall(Class sizeClass) {
  FreeBlock*& free = gFree[sizeClass.index];
  if (free != nullptr) {
    Header* header = &free->header;
    free = free->next;
    header->size = sizeClass.size;
    return header + 1;
  }
  if (sizeClass.size > static_cast<std::size_t>(gEnd - gNext)) {
    char* region = Map(kRegionBytes);
    if (region == nullptr) return nullptr;
    gNext = region + kAlignment - sizeof(Header);
    gEnd = region + kRegionBytes;
  }
  auto* header = reinterpret_cast<Header*>(gNext);
  header->size = sizeClass.size;
  gNext += sizeClass.size;
  return header + 1;
}

// Makes a block larger in its place: the last one of the region, or a large one, which may move.
void* Enlarge(Header* header, std::size_t wanted) {
  if (header->size > kLargeBytes) {
    const std::size_t size = RoundUp(wanted + kAlignment, kPageBytes);
    void* mapping = mremap(MappingOf(header), header->size, size, MREMAP_MAYMOVE);
    return mapping != MAP_FAILED ? LargeBlock(static_cast<char*>(mapping), size) : nullptr;
  }
  if (wanted + sizeof(Header) > kLargeBytes || EndOf(header) != gNext) return nullptr;
  const std::size_t size = ClassOf(wanted + sizeof(Header)).size;
  if (size > static_cast<std::size_t>(gEnd - reinterpret_cast<char*>(header))) return nullptr;
  header->size = size;
  gNext = EndOf(header);
  return header + 1;
}

}  // namespace

extern "C" {

void* malloc(std::size_t wanted) {
  void* memory = nullptr;
  if (wanted <= kLargeBytes - sizeof(Header)) {
    memory = AllocateSmall(ClassOf(wanted + sizeof(Header)));
  } else if (wanted <= PTRDIFF_MAX - kPageBytes - kAlignment) {
    memory = AllocateLarge(RoundUp(wanted + kAlignment, kPageBytes));
  }
  if (memory == nullptr) errno = ENOMEM;
  return memory;
}

void free(void* memory) {
  if (memory == nullptr) return;
  Header* header = HeaderOf(memory);
  if ((header->size & kFree) != 0) std::abort();
  if (header->size > kLargeBytes) {
    munmap(MappingOf(header), header->size);
  } else if (EndOf(header) == gNext) {
    gNext = reinterpret_cast<char*>(header);
    header->size |= kFree;
  } else {
    auto* block = reinterpret_cast<FreeBlock*>(header);
    FreeBlock*& first = gFree[ClassOf(header->size).index];
    header->size |= kFree;
    block->next = first;
    first = block;
  }
}

void* calloc(std::size_t count, std::size_t size) {
  std::size_t total = 0;
  if (__builtin_mul_overflow(count, size, &total)) {
    errno = ENOMEM;
    return nullptr;
  }
  void* memory = malloc(total);
  if (memory != nullptr) std::memset(memory, 0, total);
  return memory;
}

void* realloc(void* memory, std::size_t wanted) {
  if (memory == nullptr) return malloc(wanted);
  Header* header = HeaderOf(memory);
  const std::size_t capacity = CapacityOf(header);
  if (wanted <= capacity) return memory;
  if (wanted <= PTRDIFF_MAX - kPageBytes - kAlignment) {
    if (void* enlarged = Enlarge(header, wanted)) return enlarged;
  }
  void* moved = malloc(wanted);
  if (moved == nullptr) return nullptr;
  std::memcpy(moved, memory, capacity);
  free(memory);
  return moved;
}

}  // extern "C"
