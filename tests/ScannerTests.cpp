// SPDX-License-Identifier: MIT
//
// The scanner, token by token. It is one per process and ends it on errors, so each template is
// scanned in a child process.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "WGLParser.hpp"
#include "main/Settings.h"
#include "tests/TestFolder.h"
#include "tests/TokenList.h"
#include "wgl/WGLIncludeStack.h"
#include "wgl/WGLScanner.h"

namespace {

constexpr unsigned kTimeLimitSeconds = 20;

// A file in memory; children inherit the descriptor.
class Channel {
 public:
  Channel() : descriptor(memfd_create("channel", 0)) {}
  ~Channel() { close(descriptor); }
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  std::string Content() const {
    std::string content(static_cast<std::size_t>(lseek(descriptor, 0, SEEK_END)), '\0');
    if (pread(descriptor, content.data(), content.size(), 0) < 0) content = "unreadable";
    return content;
  }

  const int descriptor;
};

enum Includes { kOnlyTokens, kFollow };

// The child: writes each token as "code size text" to the channel. Includes that are followed
// switch the input right behind their directive, as the parser does.
[[noreturn]] void ScanInChild(const std::string& mainTemplate, Includes includes,
                              const Channel& tokens) {
  alarm(kTimeLimitSeconds);
  // Instead of the leak check, which looks at the parent's memory too.
  on_exit([](int status, void*) { std::fflush(nullptr), _exit(status); }, nullptr);
  gIncludeStack.Init(mainTemplate);
  FILE* const out = fdopen(tokens.descriptor, "w");
  std::string include;
  bool inInclude = false;
  for (;;) {
    const int code = yywgllex();
    std::string text;
    if (code == T_CHARS || code == T_VARNAME || code == T_VARNAME_HTMLTEXT ||
        code == T_VARNAME_HTMLESC) {
      text = yywgllval.text.GetCombined();
      yywgllval.text.Clear();
    }
    if (code == 0) text = std::to_string(gIncludeStack.LineNum());
    std::fprintf(out, "%d %zu ", code, text.size());
    std::fwrite(text.data(), 1, text.size(), out);
    if (code == 0) std::exit(0);
    if (code == T_INCLUDE && includes == kFollow) {
      inInclude = true;
      include.clear();
    } else if (code == T_CHARS && inInclude) {
      include += text;
    } else if (code == T_END && inInclude) {
      inInclude = false;
      gIncludeStack.BeginInclude(include);
    }
  }
}

// The tokens, and how scanning ended: "| end, line N" or the exit status and the message.
std::string Scan(const std::string& text, const TestFolder& folder,
                 Includes includes = kOnlyTokens) {
  const std::string file = folder.Write("main.wgl", text);
  const Channel tokens;
  const Channel output;
  const Channel errors;
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    dup2(output.descriptor, STDOUT_FILENO);
    dup2(errors.descriptor, STDERR_FILENO);
    ScanInChild(file.substr(gDocumentRoot.size()), includes, tokens);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status)) return "signal " + std::to_string(WTERMSIG(status));

  TokenList list;
  std::string ending;
  std::istringstream records(tokens.Content());
  int code;
  std::size_t size;
  while (records >> code >> size) {
    std::string value(size, '\0');
    records.get();
    records.read(value.data(), static_cast<std::streamsize>(size));
    if (code == 0) {
      ending = "| end, line " + value;
    } else {
      list.Add(code, value);
    }
  }
  std::string said = output.Content() + errors.Content();
  if (WEXITSTATUS(status) == 1) {
    // "WGL error (line N in file 'F'): message", and nothing else
    const std::string where = " in file '" + file + "'): ";
    const std::size_t at = said.find(where);
    const std::string start = "WGL error (line ";
    if (said.compare(0, start.size(), start) == 0 && at != std::string::npos &&
        said.substr(said.size() - 2) == "\n\n") {
      said = ", line " + said.substr(start.size(), at - start.size()) + ": " +
             said.substr(at + where.size(), said.size() - 2 - at - where.size());
    }
    ending = "| exit 1" + said;
  } else if (WEXITSTATUS(status) != 0) {
    if (!said.empty() && said.back() == '\n') said.pop_back();
    ending = "| exit " + std::to_string(WEXITSTATUS(status)) + ": " + said;
  } else {
    ending += said;
  }
  return list.Text() + ending;
}

// What becomes of a scan when plain text is put in front of the template.
std::string Behind(const std::string& text, const std::string& scan) {
  if (text.empty()) return scan;
  return "\"" + text + (scan[0] == '"' ? scan.substr(1) : "\" " + scan);
}

struct Row {
  const char *text, *expected;
};

void Check(const std::vector<Row>& rows) {
  const TestFolder folder(gDocumentRoot + "/scanner");
  for (const Row& row : rows) {
    EXPECT_EQ(Scan(row.text, folder), row.expected) << row.text;
  }
}

}  // namespace

TEST(Scanner, Text) {
  Check({
      {"", "| end, line 1"},
      {"\n", "\"\\n\" | end, line 2"},
      {"a", "\"a\" | end, line 1"},
      {"a\nb\r\n\nc", "\"a\\nb\r\\n\\nc\" | end, line 4"},
      {"a<~", "\"a\" <~ | end, line 1"},
      {"<<~", "\"<\" <~ | end, line 1"},
      {"<", "\"<\" | end, line 1"},
      {"<<", "\"<<\" | end, line 1"},
      {"a < b", "\"a < b\" | end, line 1"},
      {"x~y", "\"x~y\" | end, line 1"},
      {"~", "\"~\" | end, line 1"},
      {"~~", "\"~~\" | end, line 1"},
      {"<\n~", "\"<\\n~\" | end, line 2"},
      {"\xC3\xA4\xFF<\x80", "\"\xC3\xA4\xFF<\x80\" | end, line 1"},
      {"include + if", "\"include + if\" | end, line 1"},
  });
}

TEST(Scanner, DollarInText) {
  Check({
      {"$", "\"$\" | end, line 1"},
      {"$$", "\"$$\" | end, line 1"},
      {"$5", "\"$5\" | end, line 1"},
      {"$\n", "\"$\\n\" | end, line 1"},
      {"$\n\n", "\"$\\n\\n\" | end, line 2"},
      {"a$\nb\n$\n", "\"a$\\nb\\n$\\n\" | end, line 2"},
      {"$`", "\"$`\" | end, line 1"},
      {"$~>", "\"$~>\" | end, line 1"},
      {"$<~", "\"$<~\" | end, line 1"},
      {"$<<~", "\"$<\" <~ | end, line 1"},
      {"$${a}", "\"$${a}\" | end, line 1"},
      {"$$${a}", "\"$$\" var\"a\" | end, line 1"},
      {"a$b${c}", "\"a$b\" var\"c\" | end, line 1"},
      {"${", "\"${\" | end, line 1"},
      {"${a", "\"${a\" | end, line 1"},
      {"${}", "\"${}\" | end, line 1"},
      {"${\n}", "\"${\\n}\" | end, line 2"},
      {"${ bad}", "\"${ bad}\" | end, line 1"},
      {"${bad }", "\"${bad }\" | end, line 1"},
      {"${a-b}", "\"${a-b}\" | end, line 1"},
      {"${a${b}", "\"${a\" var\"b\" | end, line 1"},
      {"${<~", "\"${\" <~ | end, line 1"},
      {"${\xC3\xA4}", "\"${\xC3\xA4}\" | end, line 1"},
  });
}

TEST(Scanner, References) {
  Check({
      {"${a}", "var\"a\" | end, line 1"},
      {"${_Az09_}", "var\"_Az09_\" | end, line 1"},
      {"x${a}y${b}${c}", "\"x\" var\"a\" \"y\" var\"b\" var\"c\" | end, line 1"},
      {"${ab htmltext}", "htmltext\"ab\" | end, line 1"},
      {"${ab htmlesc}", "htmlesc\"ab\" | end, line 1"},
      {"${htmltext htmltext}", "htmltext\"htmltext\" | end, line 1"},
      {"${ab  htmltext}", "\"${ab  htmltext}\" | end, line 1"},
      {"${ab\thtmltext}", "\"${ab\thtmltext}\" | end, line 1"},
      {"${ab htmltext }", "\"${ab htmltext }\" | end, line 1"},
      {"${ab HTMLTEXT}", "\"${ab HTMLTEXT}\" | end, line 1"},
      {"${a htmlx}", "\"${a htmlx}\" | end, line 1"},
      {"${a json}", "\"${a json}\" | end, line 1"},
      {"${ROW}", "\"${ROW}\" | end, line 1"},
      {"${ROWS}${RO}${row}", "var\"ROWS\" var\"RO\" var\"row\" | end, line 1"},
      {"${ROW htmltext}", "htmltext\"ROW\" | end, line 1"},
      {"${07}${07Q}", "\"${07}${07Q}\" | end, line 1"},
      {"${7}${007}${07q}${07QQ}${1a}", "\"${7}${007}${07q}${07QQ}${1a}\" | end, line 1"},
  });
}

TEST(Scanner, Code) {
  Check({
      {"<~+-include trans set get query do rowcount raw json~>",
       "<~ + - include trans set get query do rowcount raw json ~> | end, line 1"},
      {"<~if then else eq ne gt ge lt le", "<~ if then else eq ne gt ge lt le | end, line 1"},
      {"<~setgetifeqnedo", "<~ set get if eq ne do | end, line 1"},
      {"<~ \t\r\n\n+\n~>\n", "<~ + ~> \"\\n\" | end, line 5"},
      {"<~${a}${ROW}${b htmltext}${c htmlesc}~>",
       "<~ var\"a\" var\"ROW\" htmltext\"b\" htmlesc\"c\" ~> | end, line 1"},
      {"<~<~+~>+~>+", "<~ <~ + ~> + ~> \"+\" | end, line 1"},
      {"<~`", "<~ ` | end, line 1"},
      {"<~``~>", "<~ ` ` ~> | end, line 1"},
      {"<~+`a\nb`\n~>", "<~ + ` \"a\\nb\" ` ~> | end, line 3"},
      {"<~`a${x}b$`~`~>", "<~ ` \"a\" var\"x\" \"b$`~\" ` ~> | end, line 1"},
      {"<~`<~`<~`x`~>`~>`~>y", "<~ ` <~ ` <~ ` \"x\" ` ~> ` ~> ` ~> \"y\" | end, line 1"},
      {"<~`a<~+", "<~ ` \"a\" <~ + | end, line 1"},
      // The modes are one stack: each end takes the last one saved, whatever saved it.
      {"<~`~>+", "<~ ` ~> + | end, line 1"},
      {"<~`a~>`b`~>c", "<~ ` \"a\" ~> ` \"b\" ` ~> \"c\" | end, line 1"},
  });
}

TEST(Scanner, FatalErrors) {
  Check({
      {"`", "| exit 2: start-condition stack underflow"},
      {"a\n`", "\"a\\n\" | exit 2: start-condition stack underflow"},
      {"~>", "| exit 2: start-condition stack underflow"},
      {"a~>b", "\"a\" | exit 2: start-condition stack underflow"},
      {"<~ ~> ~>", "<~ ~> \" \" | exit 2: start-condition stack underflow"},
      {"<~getx", "<~ get | exit 1, line 1: unmatched character"},
      {"<~GET", "<~ | exit 1, line 1: unmatched character"},
      {"\n<~\n<", "\"\\n\" <~ | exit 1, line 3: unmatched character"},
      {"$\n\n<~ifx", "\"$\\n\\n\" <~ if | exit 1, line 2: unmatched character"},
      {"<~`a\n` ~", "<~ ` \"a\\n\" ` | exit 1, line 2: unmatched character"},
      {"<~$", "<~ | exit 1, line 1: unmatched character"},
      {"<~${12}", "<~ | exit 1, line 1: unmatched character"},
      {"<~${a", "<~ | exit 1, line 1: unmatched character"},
      {"<~\"a\"", "<~ | exit 1, line 1: unmatched character"},
      {"<~ 1", "<~ | exit 1, line 1: unmatched character"},
      {"<~\xC3\xA4", "<~ | exit 1, line 1: unmatched character"},
      {"<~ == ", "<~ | exit 1, line 1: unmatched character"},
      {"<~includ", "<~ | exit 1, line 1: unmatched character"},
  });
}

// A NUL byte is left out of text, and only that byte; in code it is an unmatched character.
TEST(Scanner, NulBytes) {
  const TestFolder folder(gDocumentRoot + "/scanner");
  const std::pair<std::string, const char*> rows[] = {
      {std::string("a\0b\0\0c\n\0", 8), "\"abc\\n\" | end, line 2"},
      {std::string("\0", 1), "| end, line 1"},
      {std::string("$\0x", 3), "\"$x\" | end, line 1"},
      {std::string("${a\0}", 5), "\"${a}\" | end, line 1"},
      {std::string("\0<~`\0x`\0", 8), "<~ ` \"x\" ` | exit 1, line 1: unmatched character"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(Scan(text, folder), expected);
}

TEST(Scanner, Includes) {
  const TestFolder folder(gDocumentRoot + "/scanner");
  folder.Write("two-lines.wgl", "1\n2\n");
  folder.Write("empty.wgl", "");
  folder.Write("code.wgl", "in<~");
  folder.Write("string.wgl", "<~`\ns");
  folder.Write("nested.wgl", "(<~include`two-lines.wgl`~>)");
  folder.Write("pop.wgl", "~>");
  const Row rows[] = {
      {"a<~include`two-lines.wgl`~>b\n",
       "\"a\" <~ include ` \"two-lines.wgl\" ` ~> \"1\\n2\\nb\\n\" | end, line 2"},
      {"<~include`empty.wgl`~>", "<~ include ` \"empty.wgl\" ` ~> | end, line 1"},
      {"<~include`empty.wgl`~><~include`empty.wgl`~>`",
       "<~ include ` \"empty.wgl\" ` ~> <~ include ` \"empty.wgl\" ` ~> | exit 2: "
       "start-condition stack underflow"},
      {"<~include`code.wgl`~>+`x`~>y",
       "<~ include ` \"code.wgl\" ` ~> \"in\" <~ + ` \"x\" ` ~> \"y\" | end, line 1"},
      {"<~include`string.wgl`~>t`+\n~>",
       "<~ include ` \"string.wgl\" ` ~> <~ ` \"\\nst\" ` + ~> | end, line 2"},
      {"<~include`nested.wgl`~>\nz",
       "<~ include ` \"nested.wgl\" ` ~> \"(\" <~ include ` \"two-lines.wgl\" ` ~> "
       "\"1\\n2\\n)\\nz\" | end, line 2"},
      // An include in code: the file is scanned as code, and may end the includer's block.
      {"<~+<~include`pop.wgl`~>text",
       "<~ + <~ include ` \"pop.wgl\" ` ~> ~> \"text\" | end, line 1"},
  };
  for (const Row& row : rows) EXPECT_EQ(Scan(row.text, folder, kFollow), row.expected) << row.text;
}

// Every construct at every place around the ends of a read and of the buffer: what stands before
// must not change what it means.
TEST(Scanner, BufferBoundaries) {
  const TestFolder folder(gDocumentRoot + "/scanner");
  const std::vector<std::string> constructs = {"<~",
                                               "<~+`q`~>z",
                                               "${name htmltext}",
                                               "${name htmlesc}",
                                               "${nam}",
                                               "${ROW}",
                                               "${07Q}",
                                               "$\n\n",
                                               "$`",
                                               "~",
                                               "~\n",
                                               "\n\n",
                                               "<",
                                               "<<<~",
                                               "${",
                                               "${ab",
                                               "<~include",
                                               "<~ifx",
                                               "`",
                                               "~>"};
  for (const std::size_t boundary : {8192, 16384}) {
    for (const std::string& construct : constructs) {
      const std::string alone = Scan(construct, folder);
      for (std::size_t before = boundary - construct.size() - 1; before <= boundary + 1; ++before) {
        const std::string padding(before, 'x');
        ASSERT_TRUE(Scan(padding + construct, folder) == Behind(padding, alone))
            << construct << " behind " << before << " bytes";
      }
    }
  }
  // In code: single blanks, and a string longer than any buffer.
  for (std::size_t before = 8180; before <= 8194; ++before) {
    const std::string text = "<~" + std::string(before, ' ') + "rowcount ${name htmlesc}\n`";
    ASSERT_EQ(
        Scan(text + std::string(40000, 'y') + "\n`~>", folder),
        "<~ rowcount htmlesc\"name\" ` \"" + std::string(40000, 'y') + "\\n\" ` ~> | end, line 3");
  }
  // A name that outgrows the buffer.
  const std::string name(100'000, 'n');
  EXPECT_TRUE(Scan("${" + name + "}", folder) == "var\"" + name + "\" | end, line 1");
  EXPECT_TRUE(Scan("${" + name, folder) == "\"${" + name + "\" | end, line 1");
}
