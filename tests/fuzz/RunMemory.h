// SPDX-License-Identifier: MIT
//
// Keeps account of the memory that a run takes, by way of the sanitizer's allocator. Without a
// sanitizer nothing is counted and nothing freed.
//
// An abandoned run, whose stack was left without unwinding, can't free what it owned; that is what
// FreeTheRest is for. After any other run the rest is a leak.
#pragma once

#include <cstddef>

namespace RunMemory {

// From here on new blocks are accounted for, until Stop.
void Start();
void Stop();

// Leaves blocks out that outlive the run because the harness itself wants them.
class Pause {
 public:
  Pause();
  ~Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;

 private:
  bool counting_;
};

// The number of blocks that are left of the run; 0 when there were too many to keep account of.
std::size_t Rest();

// Ends the account; with `release`, frees what is left.
void FreeTheRest(bool release);

}  // namespace RunMemory
