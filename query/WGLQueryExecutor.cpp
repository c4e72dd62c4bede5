// SPDX-License-Identifier: MIT
#include "query/WGLQueryExecutor.h"

#include <cstdlib>
#include <utility>

#include "base/Characters.h"
#include "base/Number.h"
#include "query/OutputText.h"
#include "query/SysMgr.h"
#include "values/WGLVariables.h"

namespace {

constexpr char kRowVariable[] = "ROW";
constexpr std::string_view kRowPlaceholder = "${ROW}";
constexpr std::string_view kPlaceholderStart = "${";

// Digits of a column's number.
constexpr std::size_t kColumnDigits = 2;

// A cell without a copy, if the client library's table offers that.
template <typename Table>
auto CellOf(const Table& table, unsigned row, unsigned column, int /*preferred*/)
    -> decltype(table.View(row, column)) {
  return table.View(row, column);
}
template <typename Table>
std::string CellOf(const Table& table, unsigned row, unsigned column, long /*otherwise*/) {
  return table.Get(row, column);
}

StringTable Query(const std::string& query) {
  return SysMgr_Query(StringTable(query, kQueryText));
}

WGLEscaper EscaperFor(std::string_view otype) {
  if (otype == "html") return WGLEscaper("htmltext");
  return WGLEscaper(otype == "json" ? "json" : "");
}

char* FirstRow(const StringTable& table, const WGLEscaper& escaper) {
  OutputText text;
  for (unsigned column = 0; column < table.Columns(); ++column) {
    if (column > 0) text.Append(" ");
    text.AppendEscaped(escaper, CellOf(table, 0, column, 0));
  }
  return text.Release();
}

unsigned RowCount(const StringTable& table) {
  return WGLQueryExecutor::IsTableEmpty(table) ? 0 : table.Rows();
}

// The key of the value placeholder that `text` begins with; "" when there is none.
std::string_view ValueKey(std::string_view text) {
  std::string_view key = text.substr(kPlaceholderStart.size());
  if (key.size() <= kColumnDigits || !IsAsciiDigit(key[0]) || !IsAsciiDigit(key[1])) return {};
  const std::size_t size = kColumnDigits + (IsAsciiCapital(key[kColumnDigits]) ? 1 : 0);
  if (key.size() <= size || key[size] != '}') return {};
  return key.substr(0, size);
}

}  // namespace

bool WGLQueryExecutor::IsTableEmpty(const StringTable& table) {
  if (table.Rows() == 0 || table.Columns() == 0) return true;
  return table.Rows() == 1 && table.Columns() == 1 && CellOf(table, 0, 0, 0).empty();
}

void WGLQueryExecutor::ExecuteQuery(char** out, const std::string& query,
                                    std::string_view otype) const {
  *out = FirstRow(Query(query), EscaperFor(otype));
}

void WGLQueryExecutor::AskQuery(WGLString& out, const std::string& query, std::string_view otype) {
  if (SysMgr_Ask(StringTable(query, kQueryText))) {
    asked_.push_back(std::make_unique<Answer>(*this, EscaperFor(otype)));
    out.Append(*asked_.back());
    return;
  }
  TakeAnswers();
  char* text = nullptr;
  ExecuteQuery(&text, query, otype);
  out.Append(text);
}

bool WGLQueryExecutor::TakeAnswers() {
  if (asked_.empty()) return false;
  for (const std::unique_ptr<Answer>& answer : asked_) answer->Take();
  asked_.clear();
  return true;
}

void WGLQueryExecutor::Answer::Take() {
  Come(FirstRow(SysMgr_TakeAnswer(), escaper_));
}

void WGLQueryExecutor::ExecuteQueryRowcount(char** out, const std::string& query) const {
  OutputText text;
  text.AppendNumber(RowCount(Query(query)));
  *out = text.Release();
}

void WGLQueryExecutor::ExecuteQueryDo1(const std::string& query, std::string_view otype) {
  results_.push_back({Query(query), EscaperFor(otype)});
}

void WGLQueryExecutor::ExecuteQueryDo2(char** out, std::string_view body) {
  if (results_.empty()) {
    reportError_("no result set present");
    std::exit(1);
  }
  const unsigned rows = RowCount(results_.back().table);
  const std::vector<Piece> pieces = Split(body);
  OutputText text;
  for (unsigned row = 0; row < rows; ++row) {
    for (const Piece& piece : pieces) {
      text.Append(piece.literal);
      if (piece.kind == Piece::kRowNumber) text.AppendNumber(row + 1);
      if (piece.kind == Piece::kValue) AppendValue(text, piece.place, row);
    }
    // Most rows are less than half longer than the first.
    if (row == 0) text.Expect(text.Size() * 3 / 2 * (rows - 1));
  }
  *out = text.Release();
  gVariables.Set(kRowVariable, "");
  results_.pop_back();
}

std::string WGLQueryExecutor::GetValueFromResults(const std::string& key, unsigned row) const {
  OutputText text;
  AppendValue(text, PlaceOf(key), row);
  char* const value = text.Release();
  std::string result = value != nullptr ? value : "";
  std::free(value);
  return result;
}

// A column below 1 wraps to a number that no table has.
WGLQueryExecutor::Place WGLQueryExecutor::PlaceOf(std::string_view key) {
  const bool named = key.size() > kColumnDigits && IsAsciiCapital(key[kColumnDigits]);
  return {static_cast<unsigned>(WGLToInt(std::string(key).c_str())) - 1,
          named ? static_cast<unsigned>(key[kColumnDigits] - 'A') : 0};
}

// Called once for the whole table, not for each row.
std::vector<WGLQueryExecutor::Piece> WGLQueryExecutor::Split(std::string_view body) {
  std::vector<Piece> pieces;
  std::size_t start = 0;
  for (std::size_t i = body.find(kPlaceholderStart); i != std::string_view::npos;
       i = body.find(kPlaceholderStart, i)) {
    const std::string_view key = ValueKey(body.substr(i));
    const std::string_view literal = body.substr(start, i - start);
    if (!key.empty()) {
      pieces.push_back({literal, Piece::kValue, PlaceOf(key)});
      start = i += kPlaceholderStart.size() + key.size() + 1;
    } else if (body.compare(i, kRowPlaceholder.size(), kRowPlaceholder) == 0) {
      pieces.push_back({literal, Piece::kRowNumber, {}});
      start = i += kRowPlaceholder.size();
    } else {
      i += kPlaceholderStart.size();
    }
  }
  pieces.push_back({body.substr(start), Piece::kNothing, {}});
  return pieces;
}

void WGLQueryExecutor::AppendValue(OutputText& text, Place place, unsigned row) const {
  if (place.set >= results_.size()) return;
  const ResultSet& result = results_[place.set];
  text.AppendEscaped(result.escaper, CellOf(result.table, row, place.column, 0));
}
