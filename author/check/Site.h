// SPDX-License-Identifier: MIT
//
// All pages of a site, and what only all of them together tell.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "author/check/Context.h"
#include "author/check/PassResult.h"
#include "author/check/SiteSettings.h"
#include "author/trace/Record.h"

// The results of all passes over one way to request a page.
struct PageResult {
  EntryPoint entry;
  bool isWord = false;  // requested by a word such as "getjson", or as the main page
  std::vector<PassResult> passes;
};

class Site {
 public:
  // Traces every template below the root, in every way in which it can be requested. `progress` is
  // called before each, with how many are done. Throws Failure.
  Site(const std::string& root, const SiteSettings& settings, const Context& context,
       void (*progress)(std::size_t done, std::size_t all));

  // What is wrong with the pages, sorted, each once.
  std::set<Finding> FindAll() const;

  // Texts to translate, each with its places.
  std::map<std::string, std::set<Use>> Texts() const;

  // Whether a template translates what the device or a request brings.
  bool TranslatesForeign() const;

  const std::vector<std::string>& Templates() const { return templates_; }

 private:
  void RunPasses(const Context& context, void (*progress)(std::size_t done, std::size_t all));
  bool IsPage(const PageResult& page) const;
  void FindVariables(std::set<Finding>& findings) const;

  const SiteSettings& settings_;
  std::vector<std::string> templates_;  // names from the root
  std::vector<PageResult> pages_;
  std::set<std::string> included_;
};

// The templates below a folder, as names from there, sorted. Follows no links to folders, so that a
// loop of them has an end. Throws Failure when the folder can't be read.
std::vector<std::string> TemplatesBelow(const std::string& root);
