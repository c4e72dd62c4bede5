// SPDX-License-Identifier: MIT
//
// The rules by name: how severe what they find is, and what they are about.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct Rule {
  std::string_view name;
  bool isError;  // what it finds ends the page
  std::string_view explanation;
  std::string_view wrong;
  std::string_view right;
};

const std::vector<Rule>& AllRules();

// Null when there is no such rule.
const Rule* FindRule(std::string_view name);

// Three lines: what the rule finds, a mistake, and the right form. Throws Failure.
std::string Explain(const std::string& name);
