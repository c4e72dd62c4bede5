// SPDX-License-Identifier: MIT
//
// ROOT/vistel.json: what a site says about itself.
//
//   {"language": "en",                                   the language of the texts in templates
//    "pages": ["wgl/wizard.wgl"],                        requested by themselves, though included,
//    too "request": {"field": "the script sends it"},        variables that no form or link gives
//    "off": {"form-label": "old pages, until spring"}}   rules that find nothing
//
// Every member may be missing. A reason must be there: an empty one doesn't count.
#pragma once

#include <map>
#include <string>
#include <vector>

struct SiteSettings {
  std::string language = "en";
  std::vector<std::string> pages;
  std::map<std::string, std::string> request;
  std::map<std::string, std::string> off;

  // `path` need not exist. Throws Failure for a file with a mistake.
  static SiteSettings Read(const std::string& path);
};
