// SPDX-License-Identifier: MIT
//
// Requests and templates that are too large to write down: generated ones, and tables of syntax
// errors and numbers.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "main/Settings.h"
#include "tests/Process.h"
#include "tests/TestFolder.h"

namespace fs = std::filesystem;

namespace {

std::string Repeat(const std::string& text, std::size_t times) {
  std::string result;
  while (times-- > 0) result += text;
  return result;
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
    EXPECT_TRUE(result.output == Headers("text/html") + page)
        << result.output.size() << " bytes: " << result.output.substr(0, 500);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.ending, "exit 0");
  }

  std::string Error(int line, const std::string& message) const {
    return "WGL error (line " + std::to_string(line) + " in file '" + folder_.Path() +
           "/main.wgl'): " + message + "\n\n";
  }

 private:
  const TestFolder folder_{gDocumentRoot + "/cases"};
};

TEST_F(ProgramTest, SyntaxErrors) {
  const std::string plain = "syntax error, unexpected ";
  const struct {
    const char *text, *message;
    int line = 1;
  } rows[] = {
      // Behind "<~" eight commands may follow, too many to be listed.
      {"<~", "$end"},
      {"text <~ ~>", "T_END"},
      {"<~ ${a} ~>", "T_VARNAME"},
      {"<~ ${a htmltext} ~>", "T_VARNAME_HTMLTEXT"},
      {"<~ ${a htmlesc} ~>", "T_VARNAME_HTMLESC"},
      {"<~ <~ + `a` ~> ~>", "T_BEGIN"},
      {"<~ `a` ~>", "T_QUOTE"},
      {"<~ do ~>", "T_DO"},
      {"<~ rowcount ~>", "T_ROWCOUNT"},
      {"<~ raw ~>", "T_RAW"},
      {"<~ json ~>", "T_JSON"},
      {"<~ then ~>", "T_THEN"},
      {"<~ else ~>", "T_ELSE"},
      {"<~ eq ~>", "T_EQ"},
      {"<~ ne ~>", "T_NE"},
      {"<~ gt ~>", "T_GT"},
      {"<~ ge ~>", "T_GE"},
      {"<~ lt ~>", "T_LT"},
      {"<~ le ~>", "T_LE"},
      // Each command wants an argument, of one of five tokens.
      {"<~ + +", "T_PLUS"},
      {"<~ - -", "T_MINUS"},
      {"<~ include include", "T_INCLUDE"},
      {"<~ trans trans", "T_TRANS"},
      {"<~ get get", "T_GET"},
      {"<~ set set", "T_SET"},
      {"<~ query query", "T_QUERY"},
      {"<~ if if", "T_IF"},
      {"<~ + ~>", "T_END"},
      {"<~ set `a` ~>", "T_END"},
      {"<~ query ~>", "T_END"},
      {"<~ if `a` eq ~>", "T_END"},
      {"<~ if `a` eq `b` then ~>", "T_END"},
      {"<~ if `a` eq `b` then `c` else ~>", "T_END"},
      {"<~ + ", "$end"},
      // What ends a command is one token.
      {"<~ + `a`", "$end, expecting T_END"},
      {"<~ + `a` `b` ~>", "T_QUOTE, expecting T_END"},
      {"<~ - ${a} ${b} ~>", "T_VARNAME, expecting T_END"},
      {"<~ include `a` +", "T_PLUS, expecting T_END"},
      {"<~ trans `a` ${b htmltext}", "T_VARNAME_HTMLTEXT, expecting T_END"},
      {"<~ get `a` ${b htmlesc}", "T_VARNAME_HTMLESC, expecting T_END"},
      {"<~ set `a` `b` `c` ~>", "T_QUOTE, expecting T_END"},
      {"<~ set `a` `b` <~", "T_BEGIN, expecting T_END"},
      {"<~ query `a` rowcount do", "T_DO, expecting T_END"},
      {"<~ query `a` rowcount raw", "T_RAW, expecting T_END"},
      {"<~ query `a` rowcount", "$end, expecting T_END"},
      // A condition is one comparison: six operators, then "then".
      {"<~ if `a` ~>", "T_END"},
      {"<~ if `a` then", "T_THEN"},
      {"<~ if `a`", "$end"},
      {"<~ if `a` eq `b` ~>", "T_END, expecting T_THEN"},
      {"<~ if `a` eq `b` ne `c`", "T_NE, expecting T_THEN"},
      {"<~ if `a` le `b` `c`", "T_QUOTE, expecting T_THEN"},
      {"<~ if `a` gt `b`", "$end, expecting T_THEN"},
      // An "else" may be left out, and is taken as left out before the error shows.
      {"<~ if `a` eq `b` then `c` then", "T_THEN, expecting T_END"},
      {"<~ if `a` eq `b` then `c` `d`", "T_QUOTE, expecting T_END"},
      {"<~ if `a` eq `b` then `c`", "$end, expecting T_END"},
      {"<~ if `a` eq `b` then `c` else `d` else", "T_ELSE, expecting T_END"},
      {"<~ if `a` eq `b` then `c` else `d`", "$end, expecting T_END"},
      // Within a string: text, references, commands and its end, six tokens.
      {"<~ + `", "$end"},
      {"<~ + `a", "$end"},
      {"<~ + `a~> b", "T_END"},
      {"<~ + `${x}~>", "T_END"},
      {"<~ + `<~ + `x` ~>", "$end"},
      // The line is that of the token that is wrong; "$" takes a newline out of the count.
      {"a\nb\n<~ +\n\n~>\n", "T_END", 5},
      {"a$\nb\n<~ ~>", "T_END", 2},
      {"<~ + `a\nb`\n", "$end, expecting T_END", 3},
  };
  for (const auto& row : rows) {
    const ProgramResult result = Get(row.text);
    EXPECT_EQ(result.output, Headers("text/html") + Error(row.line, plain + row.message))
        << row.text;
    EXPECT_EQ(result.errors + result.ending, "exit 0") << row.text;
  }
}

TEST_F(ProgramTest, ContentLength) {
  const std::pair<std::string, const char*> rows[] = {
      {"", "0"},
      {"0", "0"},
      {"abc", "0"},
      {"0x10", "0"},
      {"-1", "4294967295"},
      {"8193", "8193"},
      {"2147483648", "2147483647"},
      {"4294967301", "2147483647"},
      {std::string(100, '7'), "2147483647"},
      {"-4294967295", "2147483648"},
      {"1", nullptr},
      {"8192", nullptr},
      {"5abc", nullptr},
      {" +7", nullptr},
  };
  for (const auto& [length, refused] : rows) {
    const ProgramResult result = Post("[${x}]", {Field() + "&x=y"}, length);
    if (refused == nullptr) {
      ExpectPage(result, "[y]");
    } else {
      EXPECT_EQ(result.output,
                Headers("text/plain") + "Missing or invalid content length: " + refused + "\r\n");
      EXPECT_EQ(result.errors + result.ending, "exit 1") << length;
    }
  }
}

// A body may come in any pieces; white space counts wherever it stands. What a signal breaks off
// goes on.
TEST_F(ProgramTest, FormBodyInPieces) {
  const std::string field = Field();
  const struct {
    std::vector<std::string> body;
    const char* page;
  } rows[] = {
      {{field + "&x=", "1", "2&y=3"}, "[12|3]"},
      {{" \t\n", "\r\v\f", field, "&x=a", " &y=b"}, "[a|]"},
      {{field + "&x=a\n", "&y=b"}, "[a|]"},
      {{field + "&x=%", "4", "1"}, "[A|]"},
      {{field, "&x=" + std::string(8192, 'x').replace(0, 1, "_")}, nullptr},
      {{" " + field + "&x=", std::string(100'000, 'x'), "&y=z"}, nullptr},
  };
  for (const auto& row : rows) {
    std::string page = row.page != nullptr ? row.page : "";
    if (row.page == nullptr) {
      std::string all;
      for (const std::string& piece : row.body) all += piece;
      const std::string rest = all.substr(all.find("&x=") + 3);
      const std::size_t end = rest.find("&y=");
      page = "[" + rest.substr(0, end) + "|" +
             (end == std::string::npos ? "" : rest.substr(end + 3)) + "]";
    }
    ExpectPage(Post("[${x}|${y}]", row.body, "1", true), page);
  }
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
  const struct {
    std::vector<std::string> environment;
    std::string output, ending;
  } rows[] = {
      {{"REQUEST_METHOD=" + letters},
       Headers("text/plain") + "Unsupported request method: '" + letters + "'\r\n",
       "exit 1"},
      {{"REQUEST_METHOD=POST", "CONTENT_TYPE=" + letters},
       Headers("text/plain") + "Unsupported content type: '" + letters + "'\r\n",
       "exit 1"},
      {{"REQUEST_METHOD=GET", "QUERY_STRING=_file=" + letters},
       Headers("text/html") + "WGL error: requested file outside of document subtree\n\n" +
           letters + "\n",
       "exit 1"},
      {{"REQUEST_METHOD=POST", "CONTENT_TYPE=application/x-www-form-urlencoded",
        "CONTENT_LENGTH=" + letters},
       Headers("text/plain") + "Missing or invalid content length: 0\r\n",
       "exit 1"},
      {{"REQUEST_METHOD=GET", "QUERY_STRING=" + Field(),
        "HTTP_ACCEPT_LANGUAGE=" + Repeat("x,", 50'000) + "de"},
       Headers("text/html") + "de",
       "exit 0"},
  };
  Get("${_actlang}");
  for (const auto& row : rows) {
    const ProgramResult result = RunProgram(gProgram, {row.environment, {}});
    EXPECT_TRUE(result.output == row.output) << result.output.substr(0, 200);
    EXPECT_EQ(result.errors + result.ending, row.ending);
  }
}

// Whatever becomes of the file, the fields behind it are read.
TEST_F(ProgramTest, Uploads) {
  const fs::path target = gUploadFile;
  const std::string other = fs::path(target).replace_extension("other");
  fs::create_directories(target.parent_path());
  const std::string part = "--B\r\nContent-Disposition: form-data; name=\"";
  const std::string start = part + "f\"; filename=\"x\"\r\n\r\n";
  const std::string end = "\r\n" + part + "_file\"\r\n\r\n" + Field().substr(6) + "\r\n--B--\r\n";
  const std::string content(3 * 65536, 'x');
  const struct {
    const char* kind;
    std::function<void()> make;
    std::size_t size;  // of what is found at the upload file's path
    unsigned fileBytes = 0;
  } rows[] = {
      {"nothing", [] {}, content.size()},
      {"a file limit", [] {}, 100'000, 100'000},
      {"a FIFO", [&] { mkfifo(target.c_str(), 0600); }, content.size()},
      {"a symbolic link", [&] { fs::create_symlink(other, target); }, content.size()},
      {"a hard link", [&] { fs::create_hard_link(other, target); }, content.size()},
      {"a folder", [&] { fs::create_directory(target); }, 0},
  };
  Get("stored ${_errorcount}");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.kind);
    fs::remove_all(target);
    std::ofstream(other) << "untouched";
    row.make();
    ProgramInput input;
    input.environment = {"REQUEST_METHOD=POST", "CONTENT_TYPE=multipart/form-data; boundary=B"};
    input.body = {start + content.substr(0, 70'000), content.substr(70'000) + end};
    input.fileBytes = row.fileBytes;
    input.signalBetweenPieces = true;
    ExpectPage(RunProgram(gProgram, input), "stored 0");
    EXPECT_EQ(fs::is_regular_file(fs::symlink_status(target)) ? fs::file_size(target) : 0,
              row.size);
    EXPECT_EQ(fs::file_size(other), std::string("untouched").size());
  }
  fs::remove_all(target);
  fs::remove(other);
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
