// SPDX-License-Identifier: MIT
//
// Requests and templates that are too large to write down: generated ones, and tables of syntax
// errors and numbers.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/Settings.h"
#include "tests/Process.h"
#include "tests/TestFolder.h"

namespace fs = std::filesystem;

namespace {

std::string Repeat(const std::string& text, std::size_t times) {
  std::string result;
  while (times-- > 0) result += text;
  return result;
}

std::string All(const ProgramResult& result) {
  return result.output + result.errors + result.ending;
}

class ProgramTest : public testing::Test {
 protected:
  // The response to a request for this template; the case is set up but for its body.
  ProgramResult Get(const std::string& text, const std::string& fields = "") {
    folder_.Write("main.wgl", text);
    return RunProgram(gProgram, {{"REQUEST_METHOD=GET", "QUERY_STRING=" + Field() + fields}, {}});
  }

  ProgramResult Post(const std::string& text, const std::vector<std::string>& body,
                     const std::string& length, bool signals = false) {
    folder_.Write("main.wgl", text);
    ProgramInput input;
    input.environment = {"REQUEST_METHOD=POST", "CONTENT_TYPE=application/x-www-form-urlencoded",
                         "CONTENT_LENGTH=" + length};
    input.body = body;
    input.signalBetweenPieces = signals;
    return RunProgram(gProgram, input);
  }

  std::string Field() const {
    return "_file=" + folder_.Path().substr(gDocumentRoot.size()) + "/main.wgl";
  }

  static void ExpectPage(const ProgramResult& result, const std::string& page) {
    EXPECT_TRUE(All(result) == Headers("text/html") + page + "exit 0")
        << result.output.size() << " bytes: " << result.output.substr(0, 500) << result.errors
        << result.ending;
  }

  std::string Error(int line, const std::string& message) const {
    return "WGL error (line " + std::to_string(line) + " in file '" + folder_.Path() +
           "/main.wgl'): " + message + "\n\n";
  }

 private:
  const TestFolder folder_{gDocumentRoot + "/cases"};
};

TEST_F(ProgramTest, SyntaxErrors) {
  // Others are called what they are written, in capitals.
  const std::map<std::string, std::string> names = {{"", "$end"},
                                                    {"<~", "T_BEGIN"},
                                                    {"~>", "T_END"},
                                                    {"`", "T_QUOTE"},
                                                    {"+", "T_PLUS"},
                                                    {"-", "T_MINUS"},
                                                    {"${a}", "T_VARNAME"},
                                                    {"${a htmltext}", "T_VARNAME_HTMLTEXT"},
                                                    {"${a htmlesc}", "T_VARNAME_HTMLESC"}};
  const std::string end = ", expecting T_END";
  const struct {
    std::string start;
    std::vector<std::string> tokens;  // each of which is wrong behind it
    std::string expecting = "";
    int line = 1;
  } rows[] = {
      // Behind "<~" eight commands may follow, too many to be listed.
      {"<~ ", {"", "~>", "${a}", "${a htmltext}", "${a htmlesc}", "<~", "`"}},
      {"<~ ",
       {"do", "rowcount", "raw", "json", "then", "else", "eq", "ne", "gt", "ge", "lt", "le"}},
      // Each command wants an argument, of one of five tokens.
      {"<~ + ", {"", "~>", "+", "-", "include", "trans", "get", "set", "query", "if"}},
      {"<~ set `a` ", {"~>"}},
      {"<~ query ", {"~>"}},
      {"<~ if `a` eq ", {"~>"}},
      {"<~ if `a` eq `b` then ", {"~>"}},
      {"<~ if `a` eq `b` then `c` else ", {"~>"}},
      // What ends a command is one token.
      {"<~ + `a` ", {"", "`"}, end},
      {"<~ - ${a} ", {"${a}"}, end},
      {"<~ include `a` ", {"+"}, end},
      {"<~ trans `a` ", {"${a htmltext}"}, end},
      {"<~ get `a` ", {"${a htmlesc}"}, end},
      {"<~ set `a` `b` ", {"`", "<~"}, end},
      {"<~ query `a` rowcount ", {"do", "raw", ""}, end},
      // A condition is one comparison: six operators, then "then".
      {"<~ if `a` ", {"~>", "then", ""}},
      {"<~ if `a` eq `b` ", {"~>", "ne", "`", ""}, ", expecting T_THEN"},
      // An "else" may be left out, and is taken as left out before the error shows.
      {"<~ if `a` eq `b` then `c` ", {"then", "`", ""}, end},
      {"<~ if `a` eq `b` then `c` else `d` ", {"else", ""}, end},
      // Within a string: text, references, commands and its end, six tokens.
      {"<~ + `", {"", "~>"}},
      {"<~ + `a", {"", "~>"}},
      {"<~ + `<~ + `x` ~>", {""}},
      // The line is that of the token that is wrong; "$" takes a newline out of the count.
      {"a\nb\n<~ +\n\n", {"~>"}, "", 5},
      {"a$\nb\n<~ ", {"~>"}, "", 2},
      {"<~ + `a\nb`\n", {""}, end, 3},
  };
  for (const auto& row : rows) {
    for (const std::string& token : row.tokens) {
      std::string name = "T_";
      for (const char letter : token) name += static_cast<char>(std::toupper(letter));
      if (names.count(token) != 0) name = names.at(token);
      const std::string message = "syntax error, unexpected " + name + row.expecting;
      EXPECT_EQ(All(Get(row.start + token)),
                Headers("text/html") + Error(row.line, message) + "exit 0")
          << row.start << token;
    }
  }
}

TEST_F(ProgramTest, ContentLength) {
  const std::pair<std::string, std::string> rows[] = {{"", "0"},
                                                      {"abc", "0"},
                                                      {"0x10", "0"},
                                                      {"-1", "4294967295"},
                                                      {"8193", "8193"},
                                                      {"4294967301", "2147483647"},
                                                      {"-4294967295", "2147483648"},
                                                      {"8192", ""},
                                                      {"5abc", ""},
                                                      {" +7", ""}};
  for (const auto& [length, refused] : rows) {
    const std::string message = "Missing or invalid content length: " + refused + "\r\nexit 1";
    EXPECT_EQ(
        All(Post("[${x}]", {Field() + "&x=y"}, length)),
        refused.empty() ? Headers("text/html") + "[y]exit 0" : Headers("text/plain") + message);
  }
}

// A body may come in any pieces; white space counts wherever it stands. What a signal breaks off
// goes on.
TEST_F(ProgramTest, FormBodyInPieces) {
  const std::string field = Field();
  const std::string block = "_" + std::string(8191, 'x');
  const std::string blocks(100'000, 'x');
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{field + "&x=", "1", "2&y=3"}, "[12|3]"},
      {{" \t\n", "\r\v\f", field, "&x=a", " &y=b"}, "[a|]"},
      {{field + "&x=a\n", "&y=b"}, "[a|]"},
      {{field + "&x=%", "4", "1"}, "[A|]"},
      {{field, "&x=" + block}, "[" + block + "|]"},
      {{" " + field + "&x=", blocks, "&y=z"}, "[" + blocks + "|z]"},
  };
  for (const auto& [body, page] : rows) ExpectPage(Post("[${x}|${y}]", body, "1", true), page);
}

TEST_F(ProgramTest, LargeRequests) {
  std::string fields;
  for (int i = 0; i < 10'000; ++i) fields += "&f" + std::to_string(i) + "=v" + std::to_string(i);
  const std::string name(1'000'000, 'n');
  ExpectPage(Post("${f0} ${f9999} ${f10000}", {Field() + fields}, "8192"), "v0 v9999 ");
  ExpectPage(Post("<~ get `" + name + "` ~>", {Field() + "&" + name + "=x"}, "8192"), "x");
  // A single string of the environment holds 128 KB.
  const std::string value(100 * 1024, '<');
  ExpectPage(Get("${x htmlesc}", "&x=" + value), Repeat("%3C", value.size()));
  ExpectPage(Get("${x htmltext}", "&" + Repeat("x=1&", 25'000)), "1");

  const std::string letters(100 * 1024, 'a');
  const std::string plain = Headers("text/plain"), type = "CONTENT_TYPE=";
  const std::string form = type + "application/x-www-form-urlencoded";
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"REQUEST_METHOD=" + letters},
       plain + "Unsupported request method: '" + letters + "'\r\nexit 1"},
      {{"REQUEST_METHOD=POST", type + letters},
       plain + "Unsupported content type: '" + letters + "'\r\nexit 1"},
      {{"REQUEST_METHOD=GET", "QUERY_STRING=_file=" + letters},
       Headers("text/html") + "WGL error: requested file outside of document subtree\n\n" +
           letters + "\nexit 1"},
      {{"REQUEST_METHOD=POST", form, "CONTENT_LENGTH=" + letters},
       plain + "Missing or invalid content length: 0\r\nexit 1"},
      {{"REQUEST_METHOD=GET", "QUERY_STRING=" + Field(),
        "HTTP_ACCEPT_LANGUAGE=" + Repeat("x,", 50'000) + "de"},
       Headers("text/html") + "deexit 0"},
  };
  Get("${_actlang}");
  for (const auto& [environment, answer] : rows) {
    const std::string all = All(RunProgram(gProgram, {environment, {}}));
    EXPECT_TRUE(all == answer) << all.substr(0, 200);
  }
}

// Whatever becomes of the file, the fields behind it are read.
TEST_F(ProgramTest, Uploads) {
  const fs::path target = gUploadFile;
  fs::create_directories(target.parent_path());
  const std::string part = "--B\r\nContent-Disposition: form-data; name=\"";
  const std::string start = part + "f\"; filename=\"x\"\r\n\r\n";
  const std::string end = "\r\n" + part + "_file\"\r\n\r\n" + Field().substr(6) + "\r\n--B--\r\n";
  const std::string content(3 * 65536, 'x');
  Get("stored ${_errorcount}");
  ProgramInput input;
  input.environment = {"REQUEST_METHOD=POST", "CONTENT_TYPE=multipart/form-data; boundary=B"};
  input.body = {start + content.substr(0, 70'000), content.substr(70'000) + end};
  input.signalBetweenPieces = true;
  for (const unsigned limit : {0U, 100'000U}) {
    fs::remove_all(target);
    input.fileBytes = limit;
    ExpectPage(RunProgram(gProgram, input), "stored 0");
    EXPECT_EQ(fs::file_size(target), limit != 0 ? limit : content.size());
  }
  fs::remove(target);
  fs::create_directory(target);
  ExpectPage(RunProgram(gProgram, input), "stored 0");
  EXPECT_TRUE(fs::is_directory(target) && fs::remove(target)) << "the folder stays, and empty";
}

// The parser's stacks hold 10,000 entries. A command in a command takes three of them, and two
// more at the innermost.
TEST_F(ProgramTest, Nesting) {
  for (const std::size_t depth : {65, 70, 3000, 3332}) {
    ExpectPage(Get(Repeat("<~+`", depth) + "x" + Repeat("`~>", depth)), "x");
  }
  for (const std::size_t depth : {3333, 100'000}) {
    ExpectPage(Get(Repeat("<~+`", depth) + "x\n" + Repeat("`~>", depth)),
               Error(1, "memory exhausted"));
  }
  ExpectPage(Get(Repeat("<~ if `1` eq `1` then ", 1500) + "`y`" + Repeat(" else `n` ~>", 1500)),
             "y");
  // Nested commands as arguments end where strings do.
  ExpectPage(Get(Repeat("<~+ ", 4000) + "`x`" + Repeat("~>", 4000)), "x");
  ExpectPage(Get(Repeat("<~+ ", 5000) + "`x`" + Repeat("~>", 5000)), Error(1, "memory exhausted"));
}

TEST_F(ProgramTest, LargeTemplates) {
  const std::string line = "A line of plain text, <b>as</b> there are many in a page & more.\n";
  const std::string megabytes = Repeat(line, 100'000);
  ExpectPage(Get(megabytes), megabytes);
  ExpectPage(Get(Repeat("<", 1'000'000)), Repeat("<", 1'000'000));
  ExpectPage(Get(Repeat("$", 1'000'001)), Repeat("$", 1'000'001));
  ExpectPage(Get(Repeat("~", 300'000)), Repeat("~", 300'000));
  ExpectPage(Get(std::string(10'000, '\0') + "x"), "x");
  ExpectPage(Get("<~+" + Repeat(" \n", 300'000) + "${x}~>", "&x=y"), "y");
  ExpectPage(Get(Repeat("${x}", 200'000), "&x=y"), Repeat("y", 200'000));
  ExpectPage(Get(megabytes + "<~ +"), Error(100'001, "syntax error, unexpected $end"));
  // A variable that doubles.
  ExpectPage(Get(Repeat("<~ set `x` `${x}${x}` ~>", 20) + "${x}", "&x=y"), Repeat("y", 1 << 20));
}

}  // namespace
