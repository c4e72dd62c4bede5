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

// The number of blocks that are left of the run.
std::size_t Rest();

// Frees what is left and ends the account.
void FreeTheRest();

}  // namespace RunMemory
