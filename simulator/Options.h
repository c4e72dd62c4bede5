// SPDX-License-Identifier: MIT
//
// The command line of the simulator.
#pragma once

#include <cstdint>
#include <string>

#include "simulator/Misbehaviour.h"
#include "simulator/Powerline.h"

struct Options {
  std::string socket;  // of the system manager, for providers
  std::uint64_t seed = 1;
  Powerline::Names names = Powerline::Names::kFriendly;
  Misbehaviour::Kind failure = Misbehaviour::Kind::kNone;
  int failAfterSeconds = 0;
  bool wantsHelp = false;
  bool wantsVersion = false;
};

// "" or what is wrong.
std::string ParseOptions(int count, char** arguments, Options& options);

// The text of --help.
std::string HelpText();
