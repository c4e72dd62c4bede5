// SPDX-License-Identifier: MIT
#include "author/check/SiteSettings.h"

#include <unistd.h>

#include "author/report/Rules.h"
#include "author/system/Failure.h"
#include "author/system/JsonFile.h"

SiteSettings SiteSettings::Read(const std::string& path) {
  SiteSettings settings;
  if (access(path.c_str(), F_OK) != 0) return settings;
  const nlohmann::json document = ReadJsonFile(path);
  const auto fail = [&path](const std::string& what) { throw Failure("'" + path + "': " + what); };
  try {
    for (const auto& [name, value] : document.items()) {
      if (name == "language") {
        settings.language = value.get<std::string>();
      } else if (name == "pages") {
        settings.pages = value.get<std::vector<std::string>>();
      } else if (name == "request") {
        settings.request = value.get<std::map<std::string, std::string>>();
      } else if (name == "off") {
        settings.off = value.get<std::map<std::string, std::string>>();
      } else {
        fail("'" + name + "' is unknown");
      }
    }
  } catch (const nlohmann::json::exception& error) {
    fail(ReasonOf(error));
  }
  for (const auto& [rule, reason] : settings.off) {
    if (FindRule(rule) == nullptr) fail("there is no rule '" + rule + "'");
    if (reason.empty()) fail("why is '" + rule + "' off?");
  }
  return settings;
}
