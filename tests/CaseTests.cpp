// SPDX-License-Identifier: MIT
//
// Runs every case file against the program named on the command line, and compares all that it
// writes, byte for byte. They are text files that anyone who writes templates can write.
//
//   === name of the case
//   comments, up to the first section
//   --- template [FILE]              the content of a file of the case's own folder: main.wgl,
//   which
//                                    is what the default request asks for, unless named
//   --- symlink FILE TARGET          and further kinds of files: fifo FILE, directory FILE,
//                                    unreadable FILE
//   --- request                      the whole environment, a NAME=value on each line
//   --- body                         standard input; empty without this section
//   --- stdin closed                 no standard input at all
//   --- open-files N                 at most N files
//   --- response [CONTENT-TYPE]      all that is written; with a content type, what follows the
//                                    header block of that type
//   --- wgl-error LINE MESSAGE       the response is this template error in main.wgl
//   --- uploaded                     what the upload file holds afterwards; without this section
//                                    there is none
//   --- exit N                       the exit status, when it isn't 0
//   --- errors                       standard error, when it isn't empty
//
// The newline in front of the next section or case belongs to that one: a text that ends in a
// newline is followed by an empty line. A section whose head ends in "escaped" may hold \n, \r, \t,
// \\ and \xHH for a byte. Everywhere, @ROOT@ is the document root and @DIR@ the case's folder as a
// path that starts there.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "base/Settings.h"
#include "tests/Process.h"
#include "tests/TestFolder.h"

struct CaseSection {
  std::string kind;
  std::vector<std::string> words;  // the rest of its head, without "escaped"
  std::string text;
};

struct Case {
  std::string name;  // "file.case_name"
  std::vector<CaseSection> sections;
};

// How a failure names its case.
void PrintTo(const Case& testCase, std::ostream* stream) {
  *stream << testCase.name;
}

namespace {

std::string Unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      result += text[i];
      continue;
    }
    const char letter = text[++i];
    if (letter == 'x') {
      result += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      result += letter == 'n' ? '\n' : letter == 'r' ? '\r' : letter == 't' ? '\t' : letter;
    }
  }
  return result;
}

// Adds the cases of a file.
void ReadCases(const std::filesystem::path& file, std::vector<Case>& cases) {
  std::ifstream stream(file, std::ios::binary);
  std::string* text = nullptr;  // of the section at hand
  bool escaped = false;
  const auto endSection = [&] {
    if (text == nullptr) return;
    if (!text->empty()) text->pop_back();
    if (escaped) *text = Unescaped(*text);
    text = nullptr;
  };
  for (std::string line; std::getline(stream, line);) {
    if (line.compare(0, 4, "=== ") == 0) {
      endSection();
      std::string name = file.stem().string() + "_" + line.substr(4);
      for (char& c : name) c = std::isalnum(c) != 0 ? c : '_';
      cases.push_back({name, {}});
    } else if (line.compare(0, 4, "--- ") == 0 && !cases.empty()) {
      endSection();
      std::istringstream head(line.substr(4));
      CaseSection section;
      head >> section.kind;
      for (std::string word; head >> word;) section.words.push_back(word);
      escaped = !section.words.empty() && section.words.back() == "escaped";
      if (escaped) section.words.pop_back();
      cases.back().sections.push_back(section);
      text = &cases.back().sections.back().text;
    } else if (text != nullptr) {
      *text += line + '\n';
    }
  }
  endSection();
}

std::vector<Case> AllCases() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(VISTEL_TEST_CASES)) {
    if (entry.path().extension() == ".case") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<Case> cases;
  for (const auto& file : files) ReadCases(file, cases);
  return cases;
}

class CaseTest : public testing::TestWithParam<Case> {};

void Replace(std::string& text, const std::string& what, const std::string& with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
}

std::string Joined(const std::vector<std::string>& words, std::size_t first) {
  std::string text;
  for (std::size_t i = first; i < words.size(); ++i) text += (i > first ? " " : "") + words[i];
  return text;
}

// One try of the program: what it is given and what it must answer.
struct Trial {
  explicit Trial(const TestFolder& itsFolder)
      : folder(itsFolder), directory(folder.Path().substr(gDocumentRoot.size())) {
    input.environment = {"REQUEST_METHOD=GET", "QUERY_STRING=_file=" + directory + "/main.wgl"};
    expected.ending = "exit 0";
  }

  std::string Filled(std::string text) const {
    Replace(text, "@ROOT@", gDocumentRoot);
    Replace(text, "@DIR@", directory);
    return text;
  }

  // False for a section that isn't known.
  bool MakeFile(const CaseSection& section) const {
    const std::string name = section.words.empty() ? "main.wgl" : section.words[0];
    const std::string path = folder.Write(name, Filled(section.text));
    if (section.kind == "template") return true;
    if (section.kind == "unreadable") return chmod(path.c_str(), 0) == 0;
    std::filesystem::remove(path);
    if (section.kind == "fifo") return mkfifo(path.c_str(), 0600) == 0;
    if (section.kind == "directory") return mkdir(path.c_str(), 0700) == 0;
    return section.kind == "symlink" &&
           symlink(Filled(section.words[1]).c_str(), path.c_str()) == 0;
  }

  bool Apply(const CaseSection& section) {
    const std::string& kind = section.kind;
    if (kind == "request") {
      input.environment.clear();
      std::istringstream lines(Filled(section.text));
      for (std::string line; std::getline(lines, line);) input.environment.push_back(line);
    } else if (kind == "body") {
      input.body = {Filled(section.text)};
    } else if (kind == "stdin") {
      input.stdinClosed = true;
    } else if (kind == "open-files") {
      input.openFiles = static_cast<unsigned>(std::stoul(section.words[0]));
      // The leak check at the end opens files itself.
      input.environment.push_back("ASAN_OPTIONS=detect_leaks=0");
    } else if (kind == "response") {
      expected.output =
          (section.words.empty() ? "" : Headers(section.words[0])) + Filled(section.text);
    } else if (kind == "wgl-error") {
      expected.output = Headers("text/html") + "WGL error (line " + section.words[0] +
                        " in file '" + folder.Path() +
                        "/main.wgl'): " + Filled(Joined(section.words, 1)) + "\n\n" +
                        Filled(section.text);
    } else if (kind == "uploaded") {
      uploaded = section.text;
    } else if (kind == "exit") {
      expected.ending = "exit " + section.words[0];
    } else if (kind == "errors") {
      expected.errors = section.text;
    } else {
      return MakeFile(section);
    }
    return true;
  }

  const TestFolder& folder;
  std::string directory;
  ProgramInput input;
  ProgramResult expected;
  std::optional<std::string> uploaded;
};

std::optional<std::string> UploadFileContent() {
  std::ifstream stream(gUploadFile, std::ios::binary);
  if (!stream.is_open()) return {};
  return std::string{std::istreambuf_iterator<char>(stream), {}};
}

TEST_P(CaseTest, AnswersAsWritten) {
  const TestFolder folder(gDocumentRoot + "/cases");
  Trial trial(folder);
  for (const CaseSection& section : GetParam().sections) {
    if (section.kind == "unreadable" && geteuid() == 0) GTEST_SKIP() << "root may read any file";
    ASSERT_TRUE(trial.Apply(section)) << section.kind;
  }
  std::filesystem::create_directories(std::filesystem::path(gUploadFile).parent_path());
  std::filesystem::remove(gUploadFile);
  const ProgramResult result = RunProgram(gProgram, trial.input);
  EXPECT_EQ(UploadFileContent(), trial.uploaded);
  EXPECT_EQ(result.output, trial.expected.output);
  EXPECT_EQ(result.errors, trial.expected.errors);
  EXPECT_EQ(result.ending, trial.expected.ending);
}

INSTANTIATE_TEST_SUITE_P(Files, CaseTest, testing::ValuesIn(AllCases()),
                         [](const auto& test) { return test.param.name; });

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s PROGRAM\n", argv[0]);
    return 2;
  }
  gProgram = argv[1];
  return RUN_ALL_TESTS();
}
