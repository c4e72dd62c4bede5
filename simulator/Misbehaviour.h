// SPDX-License-Identifier: MIT
//
// What broken devices do, for tests of whoever has to live with them.
#pragma once

#include <cstdint>
#include <string_view>

#include "provider/Provider.h"

class Misbehaviour {
 public:
  enum class Kind {
    kNone,
    kDie,    // ends at once
    kStall,  // never answers again, and keeps the connection
    kFlood,  // sends as much as it can
    kLie,    // sends what its offers rule out
  };

  // False, with `kind` untouched, when the word names none.
  static bool Parse(std::string_view word, Kind& kind);

  // The provider must outlive the object.
  Misbehaviour(Provider& provider, Kind kind, int afterSeconds)
      : provider_(provider), kind_(kind), afterSeconds_(afterSeconds) {}

  // Misbehaves when it is time. `now`: seconds that never run backwards.
  void Begin(std::int64_t now);

 private:
  Provider& provider_;
  Kind kind_;
  int afterSeconds_;
  std::int64_t begin_ = -1;
};
