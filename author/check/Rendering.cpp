// SPDX-License-Identifier: MIT
#include "author/check/Rendering.h"

#include <algorithm>

#include "author/trace/Alternatives.h"
#include "author/trace/Placeholders.h"
#include "base/Characters.h"
#include "values/WGLEscaper.h"

namespace {

// Larger pages are none, and more of them show hardly anything new.
constexpr std::size_t kMaxPageBytes = std::size_t{1} << 20;
constexpr std::size_t kMaxBytes = 8 * kMaxPageBytes;

// Letters that no template writes, and that mean nothing anywhere in a page.
constexpr std::string_view kMarkStart = "zvq";
constexpr std::string_view kMarkEnd = "qvz";

const char* ModeOf(Escaping escaping) {
  return escaping == Escaping::kHtml ? "htmltext" : escaping == Escaping::kUrl ? "htmlesc" : "json";
}

// Another way for each piece and each alternative (FNV-1a over the pieces' addresses).
std::uint64_t Extend(std::uint64_t path, const void* step) {
  constexpr std::uint64_t kPrime = 1099511628211U;
  return (path ^ reinterpret_cast<std::uintptr_t>(step)) * kPrime;
}

}  // namespace

bool Spot::IsEscaped(Escaping escaping) const {
  return std::find(escapings.begin(), escapings.end(), escaping) != escapings.end();
}

Place Rendering::PlaceOf(std::size_t offset) const {
  const auto after = std::upper_bound(
      literals.begin(), literals.end(), offset,
      [](std::size_t wanted, const auto& literal) { return wanted < literal.first; });
  if (after == literals.begin()) return {};
  const auto& literal = *std::prev(after);
  return Advance(literal.second,
                 std::string_view(page).substr(literal.first, offset - literal.first));
}

std::vector<Mark> MarksIn(std::string_view text) {
  std::vector<Mark> marks;
  for (std::size_t i = text.find(kMarkStart); i != std::string_view::npos;
       i = text.find(kMarkStart, i + 1)) {
    std::size_t spot = 0;
    std::size_t end = i + kMarkStart.size();
    for (; end < text.size() && IsAsciiDigit(text[end]); ++end) {
      spot = spot * 10 + static_cast<std::size_t>(text[end] - '0');
    }
    if (text.substr(end, kMarkEnd.size()) == kMarkEnd) marks.push_back({i, spot});
  }
  return marks;
}

bool Renderer::Next(Rendering& rendering) {
  if (isComplete_ || bytes_ > kMaxBytes) return false;
  isComplete_ = Render(page_, 0);
  bytes_ += rendering_.page.size() + 1;
  rendering = std::move(rendering_);
  rendering_ = Rendering();
  return true;
}

bool Renderer::Render(const Text& text, std::uint64_t path) {
  bool complete = true;
  for (const Piece& piece : text.pieces) {
    if (rendering_.page.size() > kMaxPageBytes) break;
    complete &= Render(piece, Extend(path, &piece));
  }
  return complete;
}

bool Renderer::Render(const Piece& piece, std::uint64_t path) {
  switch (piece.kind) {
    case Piece::Kind::kLiteral:
      RenderLiteral(piece);
      return true;
    case Piece::Kind::kRequest:
    case Piece::Kind::kDevice:
      AppendSpot(piece, piece.text, false);
      return true;
    case Piece::Kind::kTranslation: {
      if (!piece.text.empty()) {
        AppendSpot(piece, piece.text, true);
        return Render(*piece.first, path);  // for the cells in it
      }
      const std::optional<std::string>& text = TranslationOf(*piece.first);
      AppendSpot(piece, text.value_or("a text that is translated"), text.has_value());
      return true;
    }
    case Piece::Kind::kValue: {
      escapings_.push_back(piece.escaping);
      const bool complete = Render(*piece.first, path);
      escapings_.pop_back();
      return complete;
    }
    case Piece::Kind::kChoice:
      return RenderChoice(piece, path);
    case Piece::Kind::kRows:
      return Render(*piece.first, path);
  }
  return true;
}

bool Renderer::RenderChoice(const Piece& piece, std::uint64_t path) {
  Shown& shown = choices_[path];
  // Where both have been shown, the smaller one.
  const bool smaller = piece.second->pieces.size() < piece.first->pieces.size();
  const bool second = shown.first && (!shown.second || smaller);
  const Text& text = second ? *piece.second : *piece.first;
  const bool complete = Render(text, Extend(path, second ? &piece.second : &piece.first));
  (second ? shown.second : shown.first) |= complete || text.isWord;
  return shown.first && shown.second;
}

// The first of the template's own texts that it can be; none when foreign text is translated.
const std::optional<std::string>& Renderer::TranslationOf(const Text& text) {
  const auto [known, isNew] = translations_.try_emplace(&text);
  if (isNew) {
    std::vector<std::string> texts = AlternativesOf(text, {});
    const bool own = std::all_of(texts.begin(), texts.end(), IsConcrete);
    if (own) known->second = std::move(texts.front());
  }
  return known->second;
}

void Renderer::RenderLiteral(const Piece& piece) {
  const bool changed = std::any_of(escapings_.begin(), escapings_.end(),
                                   [](Escaping each) { return each != Escaping::kNone; });
  if (!changed) {
    rendering_.literals.emplace_back(rendering_.page.size(), piece.place);
    rendering_.page += piece.text;
    return;
  }
  std::string text = piece.text;
  for (auto escaping = escapings_.rbegin(); escaping != escapings_.rend(); ++escaping) {
    if (*escaping != Escaping::kNone) text = WGLEscaper(ModeOf(*escaping)).Escape(text);
  }
  rendering_.page += text;
}

void Renderer::AppendSpot(const Piece& piece, const std::string& name, bool isTranslation) {
  Spot spot;
  spot.name = name;
  spot.isTranslation = isTranslation;
  spot.type = isTranslation || piece.IsForeign() ? piece.type : ValueType::kText;
  spot.place = piece.place;
  spot.escapings.push_back(piece.escaping);
  spot.escapings.insert(spot.escapings.end(), escapings_.rbegin(), escapings_.rend());
  rendering_.page += kMarkStart;
  rendering_.page += std::to_string(rendering_.spots.size());
  rendering_.page += kMarkEnd;
  rendering_.spots.push_back(std::move(spot));
}
