// SPDX-License-Identifier: MIT
//
// One of the pages that a template can give: own text as it is, a mark for each foreign text, and
// one alternative of each choice. Some renderings together show all alternatives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "author/trace/Text.h"

// A foreign text or a translation where it lands in a rendering.
struct Spot {
  std::string name;  // of the variable or key; of a translation, the text
  bool isTranslation = false;
  ValueType type = ValueType::kText;
  std::vector<Escaping> escapings;  // from the inside out
  Place place;

  bool IsEscaped(Escaping escaping) const;
};

struct Rendering {
  std::string page;
  std::vector<Spot> spots;                              // by the numbers in their marks
  std::vector<std::pair<std::size_t, Place>> literals;  // where own text begins in the page

  Place PlaceOf(std::size_t offset) const;
};

// The marks in a text, as indices into Rendering::spots, each with its offset. A text in lower case
// has them too.
struct Mark {
  std::size_t offset;
  std::size_t spot;
};
std::vector<Mark> MarksIn(std::string_view text);

class Renderer {
 public:
  explicit Renderer(const Text& page) : page_(page) {}

  // The next page, with an alternative of each choice that none before it had, if possible. The
  // pages together show every alternative, but of a choice between words only some. Returns false
  // when there is nothing new to show.
  bool Next(Rendering& rendering);

 private:
  // The branches of a choice that need no further page.
  struct Shown {
    bool first = false;
    bool second = false;
  };

  // These return whether all alternatives of the text have been shown.
  bool Render(const Text& text, std::uint64_t path);
  bool Render(const Piece& piece, std::uint64_t path);
  bool RenderChoice(const Piece& piece, std::uint64_t path);
  void RenderLiteral(const Piece& piece);
  const std::optional<std::string>& TranslationOf(const Text& text);
  void AppendSpot(const Piece& piece, const std::string& name, bool isTranslation);

  const Text& page_;
  Rendering rendering_;
  std::vector<Escaping> escapings_;                   // of the pieces around, from the outside in
  std::unordered_map<std::uint64_t, Shown> choices_;  // by the way that leads to them
  std::unordered_map<const Text*, std::optional<std::string>> translations_;  // see TranslationOf
  bool isComplete_ = false;
  std::size_t bytes_ = 0;  // of all pages
};
