// SPDX-License-Identifier: MIT
//
// Runs every case file against the program named on the command line, and compares all that it
// writes, byte for byte.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>

#include "main/Settings.h"
#include "tests/CaseFile.h"
#include "tests/Process.h"
#include "tests/TestFolder.h"

// How a failure names its case.
void PrintTo(const Case& testCase, std::ostream* stream) {
  *stream << testCase.name;
}

namespace {

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

INSTANTIATE_TEST_SUITE_P(Files, CaseTest, testing::ValuesIn(ReadCases(VISTEL_TEST_CASES)),
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
