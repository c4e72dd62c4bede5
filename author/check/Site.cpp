// SPDX-License-Identifier: MIT
#include "author/check/Site.h"

#include <algorithm>
#include <array>
#include <deque>
#include <filesystem>
#include <iterator>
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

// A pass chooses the first file of each computed include beyond its decisions; the others follow in
// passes of their own.
void AddOthers(const PassOrder& order, const std::vector<std::size_t>& branches,
               std::deque<PassOrder>& added) {
  for (std::size_t i = order.decisions.size(); i < branches.size(); ++i) {
    for (std::size_t file = 1; file < branches[i]; ++file) {
      std::vector<std::size_t> others = order.decisions;
      others.resize(i);
      others.push_back(file);
      added.push_back({0, order.page, std::move(others)});
    }
  }
}

struct ByValue {
  bool operator()(const Use* left, const Use* right) const { return *left < *right; }
};

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

Site::Site(const std::string& root, const SiteSettings& settings, const DeviceModel& model,
           const SiteEvents& events)
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
  RunPasses(model, events);
  for (const PageResult& page : pages_) {
    for (const PassResult& pass : page.passes) {
      included_.insert(pass.includes.begin(), pass.includes.end());
    }
  }
}

// Results are taken in the order of the orders, so that nothing depends on which process is
// quicker.
void Site::RunPasses(const DeviceModel& model, const SiteEvents& events) {
  std::vector<EntryPoint> entries;
  std::deque<PassOrder> waiting;
  for (const PageResult& page : pages_) {
    waiting.push_back({0, entries.size(), {}});
    entries.push_back(page.entry);
  }
  std::deque<PassOrder> others;  // first, because what includes a choice of files is long
  PassProcesses processes(entries, model);
  std::map<std::size_t, FinishedPass> finished;  // by number
  std::size_t begun = 0;
  std::size_t done = 0;
  bool hasBegun = false;
  bool translatesForeign = false;
  while (!waiting.empty() || !others.empty() || !processes.IsIdle()) {
    while (!(waiting.empty() && others.empty()) && !processes.IsFull()) {
      std::deque<PassOrder>& source = others.empty() ? waiting : others;
      PassOrder next = std::move(source.front());
      source.pop_front();
      if (pages_[next.page].passes.size() + (begun - done) > kMaxPasses) continue;
      next.number = begun++;
      processes.Begin(std::move(next));
    }
    if (events.begun && !std::exchange(hasBegun, true)) events.begun();
    if (processes.IsIdle()) break;
    for (FinishedPass& each : processes.Finish()) {
      const std::size_t number = each.order.number;
      finished.emplace(number, std::move(each));
    }
    for (auto next = finished.find(done); next != finished.end(); next = finished.find(done)) {
      const PassOrder& order = next->second.order;
      PassResult& result = next->second.result;
      AddOthers(order, result.branches, others);
      if (result.translatesForeign && !std::exchange(translatesForeign, true)) {
        if (events.translatesForeign) events.translatesForeign();
      }
      pages_[order.page].passes.push_back(std::move(result));
      finished.erase(next);
      ++done;
      if (events.progress) events.progress(done, begun + waiting.size() + others.size());
    }
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
  std::set<const Use*, ByValue> unused;
  std::set<const Use*, ByValue> used;
  for (const PageResult& page : pages_) {
    if (!IsPage(page)) continue;
    std::set<std::string> read;
    for (const PassResult& pass : page.passes) read.insert(pass.read.begin(), pass.read.end());
    for (const PassResult& pass : page.passes) {
      for (const Use& use : pass.assigned) (read.count(use.name) != 0 ? used : unused).insert(&use);
      for (const Use& use : pass.unset) {
        if (given.count(use.name) != 0) continue;
        const std::string nearest = Nearest(use.name, known);
        findings.insert(use.ToFinding("unset-variable",
                                      "nothing sets '" + use.name + "' before this" +
                                          (nearest.empty() ? "" : "; is it '" + nearest + "'?")));
      }
    }
  }
  for (const Use* const use : unused) {
    if (used.count(use) != 0 || use->name[0] == '_') continue;
    findings.insert(use->ToFinding("unused-variable", "nothing reads '" + use->name + "'"));
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

std::set<LandedTranslation> Site::Landed() const {
  std::set<LandedTranslation> landed;
  for (const PageResult& page : pages_) {
    for (const PassResult& pass : page.passes) {
      landed.insert(pass.landed.begin(), pass.landed.end());
    }
  }
  return landed;
}

std::set<Use> Site::Sentences() const {
  std::set<Use> sentences;
  for (const PageResult& page : pages_) {
    if (!IsPage(page)) continue;
    for (const PassResult& pass : page.passes) {
      sentences.insert(pass.sentences.begin(), pass.sentences.end());
    }
  }
  return sentences;
}
