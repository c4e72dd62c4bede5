// SPDX-License-Identifier: MIT
//
// Sends the queries of a template to the system manager and makes text of the answers: the values
// of one row, the number of rows, or a text repeated for each row.
//
// A failed query counts as an empty table: it gives the empty text, or "0" rows, without a message.
//
// The values of one row can also be asked for without waiting. The language does so wherever it
// needs no text yet: the queries of a page then take one round trip together.
//
// `out` receives malloc'ed text that the caller frees, or null when memory is short. `otype` says
// how values are escaped: "html", "json", and with any other word not at all; see WGLEscaper. A
// NUL byte in a value ends the text.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/StringTable.h"
#include "values/WGLEscaper.h"
#include "values/WGLString.h"

class OutputText;

class WGLQueryExecutor {
 public:
  // Writes a template error to the response. The language, which uses this folder, passes its own.
  using ErrorReporter = void (*)(const char* message);

  explicit WGLQueryExecutor(ErrorReporter reportError) : reportError_(reportError) {}

  // Asks what nobody has waited for, also when an error has ended the page.
  ~WGLQueryExecutor() { TakeAnswers(); }
  WGLQueryExecutor(const WGLQueryExecutor&) = delete;
  WGLQueryExecutor& operator=(const WGLQueryExecutor&) = delete;

  // The first row's values with one space between them.
  void ExecuteQuery(char** out, const std::string& query, std::string_view otype) const;

  // Appends to `out` what ExecuteQuery would give: a text that comes when somebody reads it, or at
  // the next TakeAnswers. The failure of a query shows only then, too.
  void AskQuery(WGLString& out, const std::string& query, std::string_view otype);

  // Whether there are answers still to come.
  bool IsAwaiting() const { return !asked_.empty(); }

  // Takes them; must precede every other query. Returns false when there are none.
  bool TakeAnswers();

  // The number of rows in decimal.
  void ExecuteQueryRowcount(char** out, const std::string& query) const;

  // Pushes the answer onto the stack of result sets: the first set is "A", the next one "B".
  void ExecuteQueryDo1(const std::string& query, std::string_view otype);

  // Repeats `body` for each row of the last result set and pops the set from the stack. In the body
  //   ${NN}, ${NNX}  become column NN (from 01) of the first set or of set X ("A" to "Z"), in the
  //                  row that is being repeated; nothing if there is no such value
  //   ${ROW}         becomes the number of the row, from 1; the variable ROW is empty afterwards
  // and everything else stays as it is. Without a result set, reports an error and ends the process
  // with status 1.
  void ExecuteQueryDo2(char** out, std::string_view body);

  // The escaped value for a placeholder's key, such as "01" or "02B", in `row` (from 0).
  std::string GetValueFromResults(const std::string& key, unsigned row) const;

  // Whether a table holds nothing: no rows, no columns, or a single empty cell.
  static bool IsTableEmpty(const StringTable& table);

 private:
  struct ResultSet {
    StringTable table;
    WGLEscaper escaper;
  };
  struct Place {
    unsigned column;  // from 0
    unsigned set;     // from 0, the first
  };
  // A piece of a body: literal text, and the placeholder after it.
  struct Piece {
    enum Kind { kNothing, kRowNumber, kValue };
    std::string_view literal;
    Kind kind;
    Place place;  // of kValue
  };

  // The text of a query that was asked and not taken yet.
  class Answer final : public WGLLateText {
   public:
    Answer(WGLQueryExecutor& executor, WGLEscaper escaper)
        : executor_(executor), escaper_(escaper) {}
    void Await() override { executor_.TakeAnswers(); }
    void Take();

   private:
    WGLQueryExecutor& executor_;
    WGLEscaper escaper_;
  };

  static Place PlaceOf(std::string_view key);
  static std::vector<Piece> Split(std::string_view body);
  void AppendValue(OutputText& text, Place place, unsigned row) const;

  ErrorReporter reportError_;
  std::vector<ResultSet> results_;
  std::vector<std::unique_ptr<Answer>> asked_;  // in the order of the queries
};

extern WGLQueryExecutor gQueryExecutor;
