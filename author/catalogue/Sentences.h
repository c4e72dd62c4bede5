// SPDX-License-Identifier: MIT
//
// The sentences that a page can show although no template holds them: what the system manager and
// the client library say about settings. Templates translate them.
#pragma once

#include <optional>
#include <set>
#include <string>

// Asks the system manager's program for those of a model; nothing when there is no such program.
std::optional<std::set<std::string>> SentencesOf(const std::string& program,
                                                 const std::string& model);
