// SPDX-License-Identifier: MIT
#include "author/trace/Placeholders.h"

#include <string>
#include <utility>

#include "base/Characters.h"

namespace {

constexpr std::string_view kRowPlaceholder = "${ROW}";

// Fills the placeholders of one text after the other; each is filled at most once per filling.
class Filling {
 public:
  Filling(const std::vector<ResultSet>& sets, std::vector<WrongPlaceholder>& wrong)
      : sets_(sets), wrong_(wrong) {}

  Text Fill(const Text& text) {
    Text result;
    std::string run;  // neighbouring literals, because a placeholder may begin in one of them
    Place start;
    for (const Piece& piece : text.pieces) {
      if (piece.kind == Piece::Kind::kLiteral) {
        if (run.empty()) start = piece.place;
        run += piece.text;
        continue;
      }
      FillLiteral(run, start, result);
      run.clear();
      Piece filled = piece;
      if (piece.kind == Piece::Kind::kTranslation && piece.first->hasPlaceholders) {
        IsLiteral(*piece.first, filled.text);
      }
      for (TextPtr* part : {&filled.first, &filled.second}) {
        if (*part != nullptr && (*part)->hasPlaceholders) *part = Share(Fill(**part));
      }
      Append(result, std::move(filled));
    }
    FillLiteral(run, start, result);
    return result;
  }

 private:
  void FillLiteral(std::string_view text, Place place, Text& result) {
    const auto take = [&text, &place](std::size_t size) {
      const std::string_view taken = text.substr(0, size);
      text.remove_prefix(size);
      place = Advance(place, taken);
      return taken;
    };
    for (std::size_t i = text.find("${"); i != std::string_view::npos;) {
      const Placeholder found = PlaceholderAt(text.substr(i));
      if (found.size == 0) {
        i = text.find("${", i + 2);
        continue;
      }
      AppendLiteral(text.substr(0, i), place, result);
      take(i);
      AppendCell(found, place, result);
      take(found.size);
      i = text.find("${");
    }
    AppendLiteral(text, place, result);
  }

  static void AppendLiteral(std::string_view text, Place place, Text& result) {
    if (!text.empty()) Append(result, Literal(std::string(text), place));
  }

  void AppendCell(const Placeholder& placeholder, Place place, Text& result) {
    Piece piece;
    piece.kind = Piece::Kind::kDevice;
    piece.place = place;
    piece.text = "ROW";
    piece.type = ValueType::kInteger;
    if (!placeholder.isRow) {
      if (placeholder.column == 0) return;
      const bool there = placeholder.set < sets_.size();
      if (!there || (sets_[placeholder.set].known &&
                     placeholder.column > sets_[placeholder.set].columns.size())) {
        wrong_.push_back({place, placeholder, sets_.size(),
                          there ? sets_[placeholder.set].columns : std::vector<DeviceColumn>()});
        return;
      }
      const ResultSet& set = sets_[placeholder.set];
      piece.type = ValueType::kText;
      piece.text = "a cell";
      if (set.known) {
        piece.type = set.columns[placeholder.column - 1].type;
        piece.text = set.columns[placeholder.column - 1].name;
      }
      piece.escaping = set.escaping;
    }
    Append(result, std::move(piece));
  }

  const std::vector<ResultSet>& sets_;
  std::vector<WrongPlaceholder>& wrong_;
};

}  // namespace

Placeholder PlaceholderAt(std::string_view text) {
  constexpr std::size_t kDigitsAt = 2;
  Placeholder result;
  if (text.compare(0, kRowPlaceholder.size(), kRowPlaceholder) == 0) {
    result.size = kRowPlaceholder.size();
    result.isRow = true;
    return result;
  }
  if (text.size() < 5 || text[0] != '$' || text[1] != '{') return result;
  if (!IsAsciiDigit(text[2]) || !IsAsciiDigit(text[3])) return result;
  const bool lettered = IsAsciiCapital(text[4]);
  const std::size_t end = kDigitsAt + (lettered ? 3 : 2);
  if (text.size() <= end || text[end] != '}') return result;
  result.size = end + 1;
  result.column = static_cast<unsigned>((text[2] - '0') * 10 + (text[3] - '0'));
  result.set = lettered ? static_cast<unsigned>(text[4] - 'A') : 0;
  return result;
}

bool HasPlaceholder(std::string_view text) {
  return text.find("${") != std::string_view::npos;
}

Text FillPlaceholders(const Text& text, const std::vector<ResultSet>& sets,
                      std::vector<WrongPlaceholder>& wrong) {
  return Filling(sets, wrong).Fill(text);
}

Place Advance(Place start, std::string_view before) {
  for (std::size_t end = before.find('\n'); end != std::string_view::npos;
       end = before.find('\n')) {
    ++start.line;
    start.column = 1;
    before.remove_prefix(end + 1);
  }
  for (const char byte : before) {
    if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80) ++start.column;
  }
  return start;
}
