// SPDX-License-Identifier: MIT
//
// The sentences that a page can show although no template holds them: what the system manager and
// the client library say about settings. Templates translate them.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "author/system/Process.h"

// Asks the system manager's program for those of a model, which it writes while this process goes
// on.
class SentencesQuestion {
 public:
  SentencesQuestion(const std::string& program, const std::string& model);

  // Waits for them, once; nothing when there is no such program, or it fails.
  std::optional<std::set<std::string>> Answer();

 private:
  std::optional<Process> process_;
};
