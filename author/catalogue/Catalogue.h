// SPDX-License-Identifier: MIT
//
// The catalogue of one language, as translators write it.
#pragma once

#include <map>
#include <string>

struct Translation {
  std::string text;  // "" while there is none
  unsigned line = 0;
};

struct Catalogue {
  std::string path;
  std::map<std::string, Translation> translations;  // by the text; without the head

  // Throws Failure for a file that is no catalogue.
  static Catalogue Read(const std::string& path);
};
