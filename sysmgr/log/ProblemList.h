// SPDX-License-Identifier: MIT
//
// What is wrong with a thing that somebody has sent, for a page. The rule to know: the first few
// are kept and the rest is only counted, so that no input makes a list that fills the memory.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

class ProblemList {
 public:
  // More than anybody reads; the message is a cell of an answer.
  static constexpr std::size_t kMaxTold = 50;

  void Add(std::string problem) {
    if (told_.size() < kMaxTold) told_.push_back(std::move(problem));
    ++count_;
  }

  std::size_t Count() const { return count_; }
  const std::vector<std::string>& Told() const { return told_; }

  // "a; b; and 7 more", "" when there are none.
  std::string Text() const {
    std::string text;
    for (const std::string& problem : told_) {
      if (!text.empty()) text += "; ";
      text += problem;
    }
    if (count_ > told_.size()) text += "; and " + std::to_string(count_ - told_.size()) + " more";
    return text;
  }

 private:
  std::vector<std::string> told_;
  std::size_t count_ = 0;
};
