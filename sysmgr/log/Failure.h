// SPDX-License-Identifier: MIT
//
// An error that stops the service at its start: one sentence for the reader of the log.
#pragma once

#include <stdexcept>
#include <string>

class StartFailure : public std::runtime_error {
 public:
  explicit StartFailure(const std::string& text) : std::runtime_error(text) {}
};
