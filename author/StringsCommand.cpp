// SPDX-License-Identifier: MIT
#include "author/StringsCommand.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "author/Options.h"
#include "author/catalogue/CatalogueTemplate.h"
#include "author/catalogue/Sentences.h"
#include "author/check/Site.h"
#include "author/system/Failure.h"
#include "author/system/JsonFile.h"
#include "base/Settings.h"

namespace {

constexpr std::string_view kCommentStart = "<~ - `";
constexpr std::string_view kCommentEnd = "` ~>";
constexpr std::size_t kMaxCommentBytes = 500;  // a longer one describes the file

// The comment that ends where a text's command begins, with nothing but blanks between them.
std::string CommentBefore(std::string_view text, unsigned line, unsigned column) {
  std::size_t offset = 0;
  for (unsigned i = 1; i < line && offset != std::string_view::npos; ++i) {
    offset = text.find('\n', offset);
    if (offset != std::string_view::npos) ++offset;
  }
  if (offset == std::string_view::npos) return "";
  for (unsigned i = 1; i < column && offset < text.size(); ++i) {
    do {
      ++offset;
    } while (offset < text.size() && (static_cast<unsigned char>(text[offset]) & 0xC0) == 0x80);
  }
  std::string_view before = text.substr(0, offset);
  before = before.substr(0, before.find_last_not_of(" \t\n") + 1);
  if (before.size() < kCommentEnd.size() ||
      before.substr(before.size() - kCommentEnd.size()) != kCommentEnd) {
    return "";
  }
  before.remove_suffix(kCommentEnd.size());
  const std::size_t start = before.rfind("<~");
  if (start == std::string_view::npos) return "";
  const std::string_view comment = before.substr(start);
  if (comment.substr(0, kCommentStart.size()) != kCommentStart) return "";
  return comment.size() > kMaxCommentBytes ? "" : std::string(comment.substr(kCommentStart.size()));
}

}  // namespace

int WriteStrings(const Options& options) {
  const DeviceModel model = DeviceModel::Read(options.model);
  const SiteSettings settings = SiteSettings::Read(gDocumentRoot + "/vistel.json");
  bool translatesForeign = false;
  SiteEvents events;
  events.translatesForeign = [&translatesForeign] { translatesForeign = true; };
  const Site site(gDocumentRoot, settings, model, events);
  std::map<std::string, std::string> files;
  std::vector<TextToTranslate> texts;
  std::set<std::string> known;
  for (const auto& [text, uses] : site.Texts()) {
    TextToTranslate entry;
    entry.text = text;
    for (const Use& use : uses) {
      entry.places.push_back({use.file, use.line, use.column});
      const auto [file, isNew] = files.try_emplace(use.file);
      if (isNew) file->second = ReadFile(gDocumentRoot + "/" + use.file);
      if (entry.comment.empty()) entry.comment = CommentBefore(file->second, use.line, use.column);
    }
    known.insert(text);
    texts.push_back(std::move(entry));
  }
  // Translators work from the first page to the last.
  std::stable_sort(texts.begin(), texts.end(), [](const auto& left, const auto& right) {
    const auto& a = left.places.front();
    const auto& b = right.places.front();
    return std::tie(a.file, a.line, a.column) < std::tie(b.file, b.line, b.column);
  });
  if (translatesForeign) {
    const auto sentences = SentencesQuestion(options.sentences, options.model).Answer();
    if (!sentences) {
      throw Failure("templates translate what the device says, and there is no '" +
                    options.sentences + "' that lists it; name it with --sentences");
    }
    for (const std::string& sentence : *sentences) {
      if (known.count(sentence) == 0) texts.push_back({sentence, "", {}});
    }
  }
  WriteCatalogueTemplate(texts, options.pseudo, options.output.empty() ? "-" : options.output);
  return 0;
}
