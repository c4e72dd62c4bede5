// SPDX-License-Identifier: MIT
//
// A list of problems with an input, for a page. The rule to know: the first ones are kept and the
// others only counted, so that no input can make the list fill the memory.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "sysmgr/log/Outcome.h"

class ProblemList {
 public:
  static constexpr std::size_t kMaxTold = 50;  // more than a user reads

  void Add(Outcome problem) {
    if (told_.size() < kMaxTold) told_.push_back(std::move(problem));
    ++count_;
  }

  void Add(const ProblemList& others) {
    for (const Outcome& problem : others.told_) Add(problem);
    count_ += others.count_ - others.told_.size();
  }

  std::size_t Count() const { return count_; }
  const std::vector<Outcome>& Told() const { return told_; }

 private:
  std::vector<Outcome> told_;
  std::size_t count_ = 0;
};
