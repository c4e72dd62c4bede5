// SPDX-License-Identifier: MIT
#include "author/catalogue/Languages.h"

#include <algorithm>
#include <filesystem>

#include "base/Characters.h"

namespace fs = std::filesystem;

std::vector<std::string> LanguagesOf(const std::string& folder) {
  std::vector<std::string> languages;
  std::error_code failed;
  for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
       entry.increment(failed)) {
    const std::string language = entry->path().stem().string();
    if (entry->path().extension() != ".po" || language.size() != 2) continue;
    if (!IsAsciiLetter(language[0]) || !IsAsciiLetter(language[1])) continue;
    languages.push_back(language);
  }
  std::sort(languages.begin(), languages.end());
  return languages;
}
