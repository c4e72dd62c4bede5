// SPDX-License-Identifier: MIT
#include "author/report/Switches.h"

#include <fstream>
#include <utility>
#include <vector>

#include "base/Characters.h"

namespace {

constexpr std::string_view kSwitch = "check-off ";

// The rules that a file switches off, with the numbers of the lines that say so.
std::set<std::pair<unsigned, std::string>> SwitchesOf(const std::string& path) {
  std::set<std::pair<unsigned, std::string>> switches;
  std::ifstream file(path);
  std::string line;
  for (unsigned number = 1; std::getline(file, line); ++number) {
    for (std::size_t i = line.find(kSwitch); i != std::string::npos;
         i = line.find(kSwitch, i + 1)) {
      const std::size_t begin = i + kSwitch.size();
      const std::size_t colon = line.find(':', begin);
      if (colon == std::string::npos) break;
      const std::size_t reason = line.find_first_not_of(" \t`", colon + 1);
      if (reason == std::string::npos || line[reason] == '~') continue;
      switches.emplace(number, line.substr(begin, colon - begin));
    }
  }
  return switches;
}

}  // namespace

void RemoveSwitchedOff(const std::string& root, const std::map<std::string, std::string>& off,
                       std::set<Finding>& findings) {
  std::map<std::string, std::set<std::pair<unsigned, std::string>>> switches;
  for (auto finding = findings.begin(); finding != findings.end();) {
    const auto [known, isNew] = switches.try_emplace(finding->file);
    if (isNew) known->second = SwitchesOf(root + "/" + finding->file);
    const bool here =
        known->second.count({finding->line, finding->rule}) != 0 ||
        (finding->line > 1 && known->second.count({finding->line - 1, finding->rule}) != 0);
    finding = here || off.count(finding->rule) != 0 ? findings.erase(finding) : std::next(finding);
  }
}
