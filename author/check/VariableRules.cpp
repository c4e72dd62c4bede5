// SPDX-License-Identifier: MIT
//
// Which variables a page sets and reads. Whether one is missing is decided when all pages have been
// seen, because forms and links of one page give the variables of another.
#include <algorithm>
#include <string_view>
#include <vector>

#include "author/check/Judges.h"

namespace {

Use UseAt(const Record& record, const std::string& name, Place place) {
  const std::string file = place.file < record.files.size() ? record.files[place.file] : "";
  return {name, file, place.line, place.column};
}

// Whether a query, link or form of the program itself gives it.
bool IsOfProgram(const std::string& name) {
  return name.empty() || name[0] == '_' || name[0] == ':' || name == "mac";
}

bool IsNumber(std::string_view words) {
  return words.find_first_not_of(" \t\r\n0123456789", words.substr(0, 1) == "-" ? 1 : 0) ==
         std::string_view::npos;
}

// Whether a text can be a number: foreign texts and choices can, unless the model says otherwise.
bool CanBeNumber(const Text& text) {
  std::string words;
  if (IsLiteral(text, words)) return !words.empty() && IsNumber(words);
  bool can = true;
  VisitPieces(text, [&can](const Piece& piece) {
    if (piece.kind == Piece::Kind::kLiteral) can = can && IsNumber(piece.text);
    if (piece.kind == Piece::Kind::kDevice) {
      can = can && (piece.type == ValueType::kInteger || piece.type == ValueType::kText ||
                    piece.type == ValueType::kBoolean);
    }
    if (piece.kind == Piece::Kind::kTranslation) can = false;
    return piece.kind == Piece::Kind::kValue;
  });
  return can;
}

bool NamesPlaceholder(const Text& text) {
  bool names = false;
  for (const Piece& piece : text.pieces) {
    const std::size_t at = piece.text.find("${");
    names |= piece.kind == Piece::Kind::kLiteral && at != std::string::npos &&
             PlaceholderAt(std::string_view(piece.text).substr(at)).size > 0;
    names |= piece.kind == Piece::Kind::kRequest && piece.text == "ROW";
  }
  return names;
}

void JudgeComparison(const Record& record, const Record::Comparison& comparison,
                     PassResult& result) {
  const Condition& condition = *comparison.condition;
  if (condition.IsNumeric() && (!CanBeNumber(*condition.left) || !CanBeNumber(*condition.right))) {
    result.always.push_back(At(record, comparison.place, "number",
                               "this compares numbers, and one side is none: it counts as 0; texts "
                               "are compared with eq and ne"));
  }
  if (comparison.repeated &&
      (NamesPlaceholder(*condition.left) || NamesPlaceholder(*condition.right))) {
    result.always.push_back(At(record, comparison.place, "cell-condition",
                               "the condition sees the placeholder, not the row's value; select "
                               "rows with braces in the key"));
  }
}

}  // namespace

void JudgeVariables(const Record& record, const DeviceModel& /*model*/, PassResult& result) {
  std::vector<std::string_view> read;
  for (const Record::Read& each : record.reads) {
    read.emplace_back(each.name);
    if (!each.isSet && !IsOfProgram(each.name)) {
      result.unset.push_back(UseAt(record, each.name, each.place));
    }
  }
  std::sort(read.begin(), read.end());
  result.read.assign(read.begin(), std::unique(read.begin(), read.end()));
  for (const Record::Assignment& each : record.assignments) {
    result.assigned.push_back(UseAt(record, each.name, each.place));
    if (each.inBranch) {
      result.always.push_back(At(record, each.place, "branch-set",
                                 "both branches of an if run, so this takes effect in any case; "
                                 "choose the value with if, and set it then"));
    }
  }
  for (const Record::Comparison& each : record.comparisons) JudgeComparison(record, each, result);
}
