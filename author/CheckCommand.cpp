// SPDX-License-Identifier: MIT
#include "author/CheckCommand.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <utility>

#include "author/Options.h"
#include "author/WatchedFolders.h"
#include "author/catalogue/Languages.h"
#include "author/catalogue/Sentences.h"
#include "author/check/CatalogueRules.h"
#include "author/check/Site.h"
#include "author/report/Formats.h"
#include "author/report/Rules.h"
#include "author/report/Switches.h"
#include "author/system/Failure.h"
#include "base/Settings.h"

namespace {

using Sentences = std::set<std::string>;

// A root of fewer pages is checked before anybody could read a line about it.
constexpr std::size_t kPagesWithProgress = 100;

void ShowProgress(std::size_t done, std::size_t all) {
  if (all < kPagesWithProgress) return;
  const bool end = done == all;
  std::fprintf(stderr, end ? "\r\x1b[K" : "\r%zu of %zu pages", done, all);
}

// FILEs are named from the root; a path that leads there is understood, too.
std::set<std::string> NamesOf(const Options& options, const std::vector<std::string>& templates) {
  std::set<std::string> names;
  for (const std::string& file : options.files) {
    std::string name = file;
    if (char* const real = realpath(file.c_str(), nullptr)) {
      const std::string path = real;
      std::free(real);
      const std::string prefix = gDocumentRoot + "/";
      if (path.compare(0, prefix.size(), prefix) == 0) name = path.substr(prefix.size());
    }
    while (!name.empty() && name[0] == '/') name.erase(0, 1);
    if (std::find(templates.begin(), templates.end(), name) == templates.end()) {
      throw Failure("there is no template '" + file + "' below the root");
    }
    names.insert(name);
  }
  return names;
}

Catalogues ReadCatalogues(const std::string& folder) {
  Catalogues catalogues;
  for (const std::string& language : LanguagesOf(folder)) {
    std::string file = folder + "/";
    file.append(language).append(".po");
    catalogues[language] = Catalogue::Read(file);
  }
  return catalogues;
}

void Print(const std::set<Finding>& findings, Options::Format format) {
  const std::string text = format == Options::Format::kJson    ? AsJson(findings)
                           : format == Options::Format::kSarif ? AsSarif(findings)
                                                               : AsText(findings, isatty(1) != 0);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

}  // namespace

int CheckSite(const Options& options) {
  if (!options.rule.empty()) {
    std::fputs(Explain(options.rule).c_str(), stdout);
    return 0;
  }
  const SiteSettings settings = SiteSettings::Read(gDocumentRoot + "/vistel.json");
  const DeviceModel model = DeviceModel::Read(options.model);
  // Other processes trace the pages meanwhile. No thread does, because a process is forked for each
  // page that ends one, and a lock that a thread holds then would stay closed in it.
  std::optional<Catalogues> read;
  std::optional<SentencesQuestion> question;
  SiteEvents events;
  events.begun = [&] { read = ReadCatalogues(options.locale); };
  events.translatesForeign = [&] { question.emplace(options.sentences, options.model); };
  if (isatty(2) != 0) events.progress = ShowProgress;
  const Site site(gDocumentRoot, settings, model, events);
  const Catalogues catalogues = read ? *std::move(read) : ReadCatalogues(options.locale);
  std::set<Finding> findings = site.FindAll();
  const std::optional<Sentences> sentences = question ? question->Answer() : Sentences();
  JudgeCatalogues(site.Texts(), sentences, settings.language, gDocumentRoot, catalogues, findings);
  JudgeSentences(site.Sentences(), settings.language, catalogues, findings);
  JudgeLanded(site.Landed(), catalogues, findings);
  RemoveSwitchedOff(gDocumentRoot, settings.off, findings);
  const std::set<std::string> names = NamesOf(options, site.Templates());
  for (auto finding = findings.begin(); finding != findings.end();) {
    const bool wanted = names.empty() || names.count(finding->file) != 0;
    finding = wanted ? std::next(finding) : findings.erase(finding);
  }
  Print(findings, options.format);
  return findings.empty() ? 0 : 1;
}

int WatchSite(const Options& options) {
  for (;;) {
    // Set up first, so that a file that is saved during the check counts.
    WatchedFolders folders(gDocumentRoot);
    folders.AddFolderOf(options.model);
    folders.AddFolderOf(options.locale + "/");
    try {
      if (CheckSite(options) == 0) std::puts("Nothing found.");
    } catch (const Failure& failure) {
      std::printf("vistel: %s\n", failure.what());
    }
    std::puts("");
    std::fflush(stdout);
    folders.Wait();
  }
}
