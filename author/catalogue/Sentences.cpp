// SPDX-License-Identifier: MIT
#include "author/catalogue/Sentences.h"

#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <vector>

namespace {

using namespace std::string_literals;

// What the client library says itself when a setting is not stored; a test compares them with it.
const std::set<std::string> kOfLibrary = {
    "The system manager could not be reached; the setting was not stored.",
    "The system manager did not answer; the setting may or may not be stored.",
    "The system manager refused the request; the setting was not stored."};

bool IsThere(const std::string& program) {
  if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0;
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "");
  std::string folder;
  while (std::getline(folders, folder, ':')) {
    if (access(folder.append("/").append(program).c_str(), X_OK) == 0) return true;
  }
  return false;
}

}  // namespace

SentencesQuestion::SentencesQuestion(const std::string& program, const std::string& model) {
  if (IsThere(program)) process_.emplace(std::vector{program, "--messages"s, "--model"s, model});
}

std::optional<std::set<std::string>> SentencesQuestion::Answer() {
  if (!process_.has_value()) return std::nullopt;
  const ProcessResult result = process_->Finish();
  if (result.status != 0) return std::nullopt;
  std::set<std::string> sentences = kOfLibrary;
  std::istringstream lines(result.output);
  std::string line;
  while (std::getline(lines, line)) sentences.insert(line);
  return sentences;
}
