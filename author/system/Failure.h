// SPDX-License-Identifier: MIT
//
// Why the tool can't work at all, as a sentence for its user: an unreadable file, a wrong option.
// What is wrong with a template is a finding instead, see report/Finding.h.
#pragma once

#include <stdexcept>

class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
