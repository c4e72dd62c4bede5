// SPDX-License-Identifier: MIT
//
// All pages of a site, and what only all of them together tell.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "author/check/Judges.h"
#include "author/check/PassResult.h"
#include "author/check/SiteSettings.h"
#include "author/trace/Record.h"

// The results of all passes over one way to request a page.
struct PageResult {
  EntryPoint entry;
  bool isWord = false;  // requested by a word such as "getjson", or as the main page
  std::vector<PassResult> passes;
};

// What happens while the pages are traced; each may be empty.
struct SiteEvents {
  std::function<void()> begun;              // the first pages are under way, in other processes;
                                            // not if there are none
  std::function<void()> translatesForeign;  // what the device or a request brings; once
  std::function<void(std::size_t done, std::size_t all)> progress;
};

class Site {
 public:
  // Traces every template below the root, in every way in which it can be requested. Throws
  // Failure.
  Site(const std::string& root, const SiteSettings& settings, const DeviceModel& model,
       const SiteEvents& events);

  // What is wrong with the pages, sorted, each once.
  std::set<Finding> FindAll() const;

  // Texts to translate, each with its places.
  std::map<std::string, std::set<Use>> Texts() const;

  // Translations, with the signs that they must not hold.
  std::set<LandedTranslation> Landed() const;

  // Variables with sentences of the device that pages show without translating them.
  std::set<Use> Sentences() const;

  const std::vector<std::string>& Templates() const { return templates_; }

 private:
  void RunPasses(const DeviceModel& model, const SiteEvents& events);
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
