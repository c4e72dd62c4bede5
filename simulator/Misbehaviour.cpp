// SPDX-License-Identifier: MIT
#include "simulator/Misbehaviour.h"

#include <unistd.h>

#include <iterator>

namespace {

constexpr int kFloodMessages = 10000;

struct Word {
  const char* word;
  Misbehaviour::Kind kind;
};
constexpr Word kWords[] = {{"die", Misbehaviour::Kind::kDie},
                           {"stall", Misbehaviour::Kind::kStall},
                           {"flood", Misbehaviour::Kind::kFlood},
                           {"lie", Misbehaviour::Kind::kLie}};

}  // namespace

bool Misbehaviour::Parse(std::string_view word, Kind& kind) {
  for (const Word& row : kWords) {
    if (word != row.word) continue;
    kind = row.kind;
    return true;
  }
  return false;
}

void Misbehaviour::Begin(std::int64_t now) {
  if (begin_ < 0) begin_ = now;
  if (now - begin_ < afterSeconds_) return;
  switch (kind_) {
    case Kind::kNone:
      break;
    case Kind::kDie:
      _exit(1);
    case Kind::kStall:
      for (;;) pause();
    case Kind::kFlood:
      for (int i = 0; i < kFloodMessages; ++i) provider_.Push("network-link", "up");
      break;
    case Kind::kLie:
      provider_.Push("network-link", "sideways");
      break;
  }
}
