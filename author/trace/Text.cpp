// SPDX-License-Identifier: MIT
#include "author/trace/Text.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "author/trace/Placeholders.h"

namespace {

// Text with none of them can't begin or end anything in a page.
constexpr bool IsSignOfHtml(char byte) {
  switch (byte) {
    case '<':
    case '>':
    case '&':
    case '"':
    case '\'':
    case '=':
    case '`':
    case '{':
    case '}':
    case ';':
    case ' ':
    case '\t':
    case '\r':
    case '\n':
    case '\f':
      return true;
    default:
      return false;
  }
}

}  // namespace

Escaping EscapingOf(std::string_view word) {
  if (word == "html" || word == "htmltext") return Escaping::kHtml;
  if (word == "htmlesc") return Escaping::kUrl;
  return word == "json" ? Escaping::kJson : Escaping::kNone;
}

void Append(Text& text, Piece piece) {
  for (const TextPtr* part : {&piece.first, &piece.second}) {
    if (*part == nullptr) continue;
    text.depth = std::max(text.depth, (*part)->depth + 1);
    text.hasPlaceholders |= (*part)->hasPlaceholders;
    text.isWord &= (*part)->isWord;
  }
  if (text.depth > kMaxTextDepth) {
    const Place place = piece.place;
    piece = Literal("a text that is nested too deeply", place);
    piece.kind = Piece::Kind::kRequest;
    text.depth = 0;
  }
  if (piece.kind == Piece::Kind::kLiteral) {
    text.hasPlaceholders |= HasPlaceholder(piece.text);
    text.isWord &= std::none_of(piece.text.begin(), piece.text.end(), IsSignOfHtml);
  } else if (piece.kind != Piece::Kind::kValue && piece.kind != Piece::Kind::kChoice) {
    text.isWord = false;
  }
  text.pieces.push_back(std::move(piece));
}

void Append(Text& text, Text tail) {
  text.depth = std::max(text.depth, tail.depth);
  text.hasPlaceholders |= tail.hasPlaceholders;
  text.isWord &= tail.isWord;
  text.pieces.insert(text.pieces.end(), std::make_move_iterator(tail.pieces.begin()),
                     std::make_move_iterator(tail.pieces.end()));
}

TextPtr Share(Text text) {
  return std::make_shared<const Text>(std::move(text));
}

Piece Literal(std::string text, Place place) {
  Piece piece;
  piece.text = std::move(text);
  piece.place = place;
  return piece;
}

namespace {

// A longer text is no name, key or value that a page compares.
constexpr std::size_t kMaxWordBytes = 65536;
constexpr std::size_t kMaxWordSteps = 10000;

bool TakeWords(const Text& text, std::string& words, std::size_t& steps) {
  for (const Piece& piece : text.pieces) {
    if (++steps > kMaxWordSteps || words.size() > kMaxWordBytes) return false;
    if (piece.kind == Piece::Kind::kLiteral) {
      words += piece.text;
    } else if (piece.kind != Piece::Kind::kValue || piece.escaping != Escaping::kNone ||
               !TakeWords(*piece.first, words, steps)) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool IsLiteral(const Text& text, std::string& words) {
  words.clear();
  std::size_t steps = 0;
  return TakeWords(text, words, steps);
}
