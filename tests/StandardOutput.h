// SPDX-License-Identifier: MIT
//
// What code under test writes to descriptor 1.
#pragma once

#include <functional>
#include <string>

// Runs with `output` as descriptor 1; none when it is negative. What stdout holds goes to where it
// belongs. True when the descriptor is still open afterwards.
bool RunOnto(int output, const std::function<void()>& run);

// Runs, and returns what came to descriptor 1.
std::string OutputOf(const std::function<void()>& run);
