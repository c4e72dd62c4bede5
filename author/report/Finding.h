// SPDX-License-Identifier: MIT
//
// A mistake in a template, and what to write instead.
#pragma once

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

struct Finding {
  std::string file;  // from the root; of the site as a whole: the file that it is about
  unsigned line = 1;
  unsigned column = 1;
  std::string rule;  // a name of Rules.h, which also knows how severe it is
  std::string message;

  bool operator<(const Finding& other) const {
    return std::tie(file, line, column, rule, message) <
           std::tie(other.file, other.line, other.column, other.rule, other.message);
  }
  bool operator==(const Finding& other) const { return !(*this < other) && !(other < *this); }
};

using Findings = std::vector<Finding>;
