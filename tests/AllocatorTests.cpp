// SPDX-License-Identifier: MIT
//
// The program's own malloc under other names, so that the sanitizers check it: blocks keep their
// content, don't overlap, and come back.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#define malloc OwnMalloc
#define calloc OwnCalloc
#define realloc OwnRealloc
#define free OwnFree
#include "base/Allocator.cpp"  // NOLINT: under other names

namespace {

TEST(Allocator, RandomSizes) {
  std::mt19937 random(1);  // NOLINT: the same sizes in each run
  struct Block {
    unsigned char* memory;
    std::size_t size;
  };
  std::vector<Block> blocks;
  const auto check = [](const Block& block, std::size_t size) {
    const std::string expected(size, static_cast<char>(block.size % 251));
    ASSERT_EQ(std::memcmp(block.memory, expected.data(), size), 0);
  };
  for (int round = 0; round < 20'000; ++round) {
    const std::size_t size = random() % (std::size_t{1} << (random() % 19));
    const std::size_t chosen = random() % 200;
    if (chosen >= blocks.size()) {
      blocks.push_back({static_cast<unsigned char*>(OwnMalloc(size)), size});
    } else if (check(blocks[chosen], blocks[chosen].size); random() % 2 == 0) {
      blocks[chosen].memory = static_cast<unsigned char*>(OwnRealloc(blocks[chosen].memory, size));
      check(blocks[chosen], std::min(size, blocks[chosen].size));
      blocks[chosen].size = size;
    } else {
      OwnFree(blocks[chosen].memory);
      blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(chosen));
      continue;
    }
    const Block& block = blocks[std::min(chosen, blocks.size() - 1)];
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block.memory) % alignof(std::max_align_t), 0U);
    if (size != 0) std::memset(block.memory, static_cast<int>(size % 251), size);
  }
}

TEST(Allocator, WhatALoopFreesComesBack) {
  std::set<void*> blocks;
  void* last = OwnMalloc(1);
  for (std::size_t size = 2; size < 5'000; ++size) {
    void* next = OwnMalloc(size);
    blocks.insert(next);
    OwnFree(last);
    last = next;
  }
  EXPECT_LE(blocks.size(), 2 * (ClassOf(5'000 + sizeof(Header)).index + 1));  // two of each class
}

TEST(Allocator, EndsOfBlocksAndRegions) {
  constexpr std::size_t kMostOfSmall = kLargeBytes - sizeof(Header);
  for (const std::size_t more : {0U, 1U}) {
    void* block = OwnMalloc(kMostOfSmall + more);
    EXPECT_EQ(HeaderOf(block)->size, kLargeBytes + more * kPageBytes);
    OwnFree(block);
  }
  const auto takeNew = [](std::size_t size) {
    void* block = OwnMalloc(size);
    while (EndOf(HeaderOf(block)) != gNext) block = OwnMalloc(size);
    return block;
  };
  void* last = takeNew(1000);
  while (gEnd - gNext < 20'000) last = takeNew(1000);
  OwnFree(last);
  EXPECT_EQ(takeNew(5000), last);
  EXPECT_EQ(OwnRealloc(last, 9000), last);
  while (gEnd - gNext > 9000) last = takeNew(4000);
  EXPECT_NE(OwnRealloc(last, 20'000), last);
}

TEST(Allocator, Refusals) {
  EXPECT_EQ(OwnMalloc(PTRDIFF_MAX), nullptr);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_EQ(OwnCalloc(SIZE_MAX / 2, 3), nullptr);
  void* block = OwnMalloc(100);
  void* above = OwnMalloc(100);
  EXPECT_EQ(OwnRealloc(block, PTRDIFF_MAX), nullptr);
  EXPECT_EXIT((OwnFree(block), OwnFree(block)), testing::KilledBySignal(SIGABRT), "");
  OwnFree(above);
  constexpr std::size_t kPages = 2 * kLargeBytes;  // of a large block that has no byte to spare
  void* large = OwnRealloc(OwnMalloc(kPages - kAlignment), kPages - kAlignment + 1);
  EXPECT_GT(HeaderOf(large)->size, kPages);
  OwnFree(large);
  auto* zeroed = static_cast<char*>(OwnCalloc(10, 10));
  EXPECT_EQ(std::string(zeroed, 100), std::string(100, '\0'));
}

}  // namespace
