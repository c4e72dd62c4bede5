// SPDX-License-Identifier: MIT
#include "author/check/Site.h"

#include <algorithm>
#include <array>
#include <deque>
#include <filesystem>
#include <iterator>
#include <thread>
#include <utility>

#include "author/check/Pass.h"
#include "author/system/Failure.h"

namespace fs = std::filesystem;

namespace {

// More choices of included files show hardly anything new.
constexpr std::size_t kMaxPasses = 1000;

// The words and the main page, as main/ of the program knows them.
struct Word {
  const char* file;
  const char* page;
  EntryPoint::Kind kind;
};
constexpr std::array<Word, 6> kWords = {{{"/wgl/main.wgl", "wgl/main.wgl", EntryPoint::Kind::kHtml},
                                         {"fs", "wgl/frameset.wgl", EntryPoint::Kind::kHtml},
                                         {"sysinfo", "wgl/sysinfo.wgl", EntryPoint::Kind::kXml},
                                         {"getjson", "wgl/getjson.wgl", EntryPoint::Kind::kJson},
                                         {"validate", "wgl/validate.wgl", EntryPoint::Kind::kPlain},
                                         {"ie6", "wgl/ie6.wgl", EntryPoint::Kind::kHtml}}};

bool HasWord(const std::string& page) {
  return std::any_of(kWords.begin(), kWords.end(),
                     [&page](const Word& word) { return page == word.page; });
}

// A page that waits for a pass with these choices of files.
struct Waiting {
  std::size_t page;
  std::vector<std::size_t> decisions;
};

// A pass chooses the first file of each computed include beyond its decisions; the others follow in
// passes of their own.
void AddOthers(std::size_t page, const std::vector<std::size_t>& decisions,
               const std::vector<std::size_t>& branches, std::deque<Waiting>& waiting) {
  for (std::size_t i = decisions.size(); i < branches.size(); ++i) {
    for (std::size_t file = 1; file < branches[i]; ++file) {
      std::vector<std::size_t> others = decisions;
      others.resize(i);
      others.push_back(file);
      waiting.push_back({page, std::move(others)});
    }
  }
}

std::string Nearest(const std::string& name, const std::set<std::string>& known) {
  for (const std::string& each : known) {
    const bool same = each.size() == name.size() &&
                      std::equal(each.begin(), each.end(), name.begin(),
                                 [](char a, char b) { return std::tolower(a) == std::tolower(b); });
    if (same && each != name) return each;
  }
  return NearestName(name, {known.begin(), known.end()});
}

}  // namespace

std::vector<std::string> TemplatesBelow(const std::string& root) {
  std::vector<std::string> names;
  std::error_code failed;
  fs::recursive_directory_iterator entry(root, fs::directory_options::skip_permission_denied,
                                         failed);
  if (failed) throw Failure("can't read the folder '" + root + "': " + failed.message());
  for (const fs::recursive_directory_iterator end; entry != end; entry.increment(failed)) {
    if (failed) throw Failure("can't read the folder '" + root + "': " + failed.message());
    const fs::path& path = entry->path();
    std::error_code unknown;
    if (path.filename().string()[0] == '.' && entry->is_directory(unknown)) {
      entry.disable_recursion_pending();
    } else if (path.extension() == ".wgl" && entry->is_regular_file(unknown)) {
      names.push_back(path.lexically_relative(root).string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

Site::Site(const std::string& root, const SiteSettings& settings, const Context& context,
           void (*progress)(std::size_t done, std::size_t all))
    : settings_(settings), templates_(TemplatesBelow(root)) {
  std::vector<EntryPoint> entries;
  for (const Word& word : kWords) {
    if (std::binary_search(templates_.begin(), templates_.end(), std::string(word.page))) {
      entries.push_back({word.page, word.file, word.kind});
    }
  }
  const std::size_t words = entries.size();
  for (const std::string& name : templates_) {
    if (name != kWords[0].page) entries.push_back({name, "/" + name, EntryPoint::Kind::kHtml});
  }
  for (std::size_t i = 0; i < entries.size(); ++i) pages_.push_back({entries[i], i < words, {}});
  RunPasses(context, progress);
  for (const PageResult& page : pages_) {
    for (const PassResult& pass : page.passes) {
      included_.insert(pass.includes.begin(), pass.includes.end());
    }
  }
}

// As many passes at once as there are processors.
void Site::RunPasses(const Context& context, void (*progress)(std::size_t done, std::size_t all)) {
  const std::size_t atOnce = std::max(2U, std::thread::hardware_concurrency());
  std::deque<Waiting> waiting;
  std::deque<std::pair<std::size_t, RunningPass>> running;
  for (std::size_t page = 0; page < pages_.size(); ++page) waiting.push_back({page, {}});
  std::size_t done = 0;
  while (!waiting.empty() || !running.empty()) {
    while (!waiting.empty() && running.size() < atOnce) {
      const Waiting next = std::move(waiting.front());
      waiting.pop_front();
      if (pages_[next.page].passes.size() + running.size() > kMaxPasses) continue;
      running.emplace_back(next.page,
                           RunningPass(pages_[next.page].entry, next.decisions, context));
    }
    if (running.empty()) break;
    const std::size_t page = running.front().first;
    RunningPass& pass = running.front().second;
    PassResult result = pass.Finish();
    AddOthers(page, pass.Decisions(), result.branches, waiting);
    pages_[page].passes.push_back(std::move(result));
    running.pop_front();
    ++done;
    if (progress != nullptr) progress(done, done + waiting.size() + running.size());
  }
}

// A template that others include is meant to be requested only if the site says so.
bool Site::IsPage(const PageResult& page) const {
  if (page.isWord) return true;
  const std::string& name = page.entry.page;
  const auto& named = settings_.pages;
  if (std::find(named.begin(), named.end(), name) != named.end()) return true;
  return included_.count(name) == 0 && !HasWord(name);
}

void Site::FindVariables(std::set<Finding>& findings) const {
  std::set<std::string> given;
  std::set<std::string> assigned;
  for (const auto& [name, reason] : settings_.request) given.insert(name);
  for (const PageResult& page : pages_) {
    for (const PassResult& pass : page.passes) {
      given.insert(pass.given.begin(), pass.given.end());
      for (const Use& use : pass.assigned) assigned.insert(use.name);
    }
  }
  std::set<std::string> known = given;
  known.insert(assigned.begin(), assigned.end());
  std::set<Use> unused;
  std::set<Use> used;
  for (const PageResult& page : pages_) {
    if (!IsPage(page)) continue;
    std::set<std::string> read;
    for (const PassResult& pass : page.passes) read.insert(pass.read.begin(), pass.read.end());
    for (const PassResult& pass : page.passes) {
      for (const Use& use : pass.assigned) (read.count(use.name) != 0 ? used : unused).insert(use);
      for (const Use& use : pass.unset) {
        if (given.count(use.name) != 0) continue;
        const std::string nearest = Nearest(use.name, known);
        findings.insert(use.ToFinding("unset-variable",
                                      "nothing sets '" + use.name + "' before this" +
                                          (nearest.empty() ? "" : "; is it '" + nearest + "'?")));
      }
    }
  }
  for (const Use& use : unused) {
    if (used.count(use) != 0 || use.name[0] == '_') continue;
    findings.insert(use.ToFinding("unused-variable", "nothing reads '" + use.name + "'"));
  }
}

std::set<Finding> Site::FindAll() const {
  std::set<Finding> findings;
  for (const PageResult& page : pages_) {
    const bool isPage = IsPage(page);
    for (const PassResult& pass : page.passes) {
      findings.insert(pass.always.begin(), pass.always.end());
      if (isPage) findings.insert(pass.asPage.begin(), pass.asPage.end());
    }
  }
  FindVariables(findings);
  return findings;
}

std::map<std::string, std::set<Use>> Site::Texts() const {
  std::map<std::string, std::set<Use>> texts;
  for (const PageResult& page : pages_) {
    for (const PassResult& pass : page.passes) {
      for (const Use& use : pass.texts) texts[use.name].insert(use);
    }
  }
  return texts;
}

bool Site::TranslatesForeign() const {
  return std::any_of(pages_.begin(), pages_.end(), [](const PageResult& page) {
    return std::any_of(page.passes.begin(), page.passes.end(),
                       [](const PassResult& pass) { return pass.translatesForeign; });
  });
}
