// SPDX-License-Identifier: MIT
#include "tests/CaseFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

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

void ReadFile(const std::filesystem::path& file, std::vector<Case>& cases) {
  std::ifstream stream(file, std::ios::binary);
  bool escaped = false;
  bool isFirstLine = true;
  bool inSection = false;
  const auto endSection = [&] {
    if (escaped) cases.back().sections.back().text = Unescaped(cases.back().sections.back().text);
    escaped = false;
    isFirstLine = true;
  };
  for (std::string line; std::getline(stream, line);) {
    if (line.compare(0, 4, "=== ") == 0) {
      endSection();
      std::string name = file.stem().string() + "_" + line.substr(4);
      std::replace_if(
          name.begin(), name.end(), [](char c) { return !std::isalnum(c); }, '_');
      cases.push_back({name, {}});
      inSection = false;
    } else if (line.compare(0, 4, "--- ") == 0 && !cases.empty()) {
      endSection();
      std::istringstream head(line.substr(4));
      CaseSection section;
      head >> section.kind;
      for (std::string word; head >> word;) section.words.push_back(word);
      if (!section.words.empty() && section.words.back() == "escaped") {
        escaped = true;
        section.words.pop_back();
      }
      cases.back().sections.push_back(section);
      inSection = true;
    } else if (inSection) {
      if (!isFirstLine) cases.back().sections.back().text += '\n';
      cases.back().sections.back().text += line;
      isFirstLine = false;
    }
  }
  endSection();
}

}  // namespace

std::vector<Case> ReadCases(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".case") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<Case> cases;
  for (const auto& file : files) ReadFile(file, cases);
  return cases;
}
