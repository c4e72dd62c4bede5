// SPDX-License-Identifier: MIT
//
// Findings that an author has switched off for a line, by a comment on it or on the line above:
//
//   <~ - `check-off RULE: why` ~>
//
// One without a reason doesn't count.
#pragma once

#include <map>
#include <set>
#include <string>

#include "author/report/Finding.h"

// Removes those that are switched off by a comment of their file, which is below `root`, or whose
// rule is a name of `off`.
void RemoveSwitchedOff(const std::string& root, const std::map<std::string, std::string>& off,
                       std::set<Finding>& findings);
