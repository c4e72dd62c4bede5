// SPDX-License-Identifier: MIT
//
// What a template's text can be, before any request: its own text, foreign text whose value nobody
// knows yet, and choices between texts. A Text is made once and shared afterwards, so that a
// variable that is used in many places costs nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "author/model/DeviceModel.h"

// Where something stands in a template. Lines and columns count from 1, columns in characters.
struct Place {
  std::uint32_t file = 0;  // the index of Record::files
  std::uint32_t line = 0;  // 0: nowhere
  std::uint32_t column = 0;
};

enum class Escaping { kNone, kHtml, kUrl, kJson };

// The mode that the language calls by that word, see WGLEscaper; "html" is that of queries.
Escaping EscapingOf(std::string_view word);

struct Text;
using TextPtr = std::shared_ptr<const Text>;

// The comparison of an `if`.
struct Condition {
  enum class Operator { kEqual, kNotEqual, kGreater, kGreaterEqual, kLess, kLessEqual };
  Operator comparison = Operator::kEqual;
  TextPtr left;
  TextPtr right;

  bool IsNumeric() const { return comparison > Operator::kNotEqual; }
};

struct Piece {
  enum class Kind {
    kLiteral,      // `text`, as the template has it
    kRequest,      // the field `text` of the request
    kDevice,       // values of the device; `text` is the key
    kTranslation,  // of `first`; of `text`, if the placeholders in `first` have been filled since
    kValue,        // `first`, a variable's value; `text` is the variable
    kChoice,       // `first` if `condition` holds, else `second`
    kRows,         // `first` for each row of an answer
  };
  Kind kind = Kind::kLiteral;
  std::string text;
  Place place;
  Escaping escaping = Escaping::kNone;  // applied to the whole piece
  ValueType type = ValueType::kText;    // of kDevice and kRequest
  TextPtr first;
  TextPtr second;
  std::shared_ptr<const Condition> condition;

  bool IsForeign() const { return kind == Kind::kRequest || kind == Kind::kDevice; }
};

struct Text {
  std::vector<Piece> pieces;
  unsigned depth = 0;              // of the texts in it; limited, so that recursion over them is
  bool hasPlaceholders = false;    // "${01}" or "${ROW}" in own text, here or further down
  bool isWord = true;              // own text without signs of HTML, whatever is chosen
  mutable std::uint64_t walk = 0;  // the last one that came here
};

// A walk through texts that share parts, which comes to each of them once. If another walk begins
// meanwhile, it may come to a text again.
class Walk {
 public:
  Walk() : number_(++gLast) {}

  bool IsFirst(const Text& text) const { return std::exchange(text.walk, number_) != number_; }

 private:
  static inline std::uint64_t gLast = 0;
  std::uint64_t number_;
};

// A text that is nested more deeply counts as foreign: nobody writes one by hand.
inline constexpr unsigned kMaxTextDepth = 250;

// Appends a piece; it takes over the piece's texts.
void Append(Text& text, Piece piece);

// Appends the pieces of `tail`.
void Append(Text& text, Text tail);

TextPtr Share(Text text);

Piece Literal(std::string text, Place place);

// Whether it is the template's own text throughout, and not extremely long; `words` then receives
// it.
bool IsLiteral(const Text& text, std::string& words);

// Calls `visit` with each piece; for those for which it returns true, with the pieces in it too.
// Visits a shared text once.
template <typename Visit>
void VisitPieces(const Text& text, Visit visit) {
  const Walk walk;
  std::vector<const Text*> open = {&text};
  while (!open.empty()) {
    const Text* const next = open.back();
    open.pop_back();
    if (!walk.IsFirst(*next)) continue;
    for (const Piece& piece : next->pieces) {
      if (!visit(piece)) continue;
      if (piece.first != nullptr) open.push_back(piece.first.get());
      if (piece.second != nullptr) open.push_back(piece.second.get());
    }
  }
}
