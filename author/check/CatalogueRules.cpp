// SPDX-License-Identifier: MIT
#include "author/check/CatalogueRules.h"

#include <algorithm>
#include <vector>

#include "base/Characters.h"

namespace {

constexpr std::size_t kShownBytes = 60;

std::string Shown(const std::string& text) {
  return "'" + (text.size() > kShownBytes ? text.substr(0, kShownBytes) + "..." : text) + "'";
}

// The tags of a text, "<b>" and "</b>", and its placeholders, sorted.
std::vector<std::string> MarkupOf(std::string_view text) {
  std::vector<std::string> markup;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view rest = text.substr(i);
    const char next = rest.size() > 1 ? rest[1] : ' ';
    if (rest[0] == '<' && (IsAsciiLetter(next) || next == '/')) {
      markup.emplace_back(rest.substr(0, rest.find_first_of(" >") + 1));
    } else if (rest[0] == '$' && next == '{') {
      markup.emplace_back(rest.substr(0, rest.find('}')));
    } else if (rest[0] == '%' && (next == 's' || next == 'd')) {
      markup.emplace_back(rest.substr(0, 2));
    }
  }
  std::sort(markup.begin(), markup.end());
  return markup;
}

// The name of a catalogue from the root, if it is below it.
std::string NameFrom(const std::string& root, const std::string& path) {
  const bool below = path.compare(0, root.size() + 1, root + "/") == 0;
  return below ? path.substr(root.size() + 1) : path;
}

// `sentences` are empty if no template translates them.
void FindMissingSentences(const std::set<std::string>& sentences, const Catalogue& catalogue,
                          const std::string& file, bool isOriginal, std::set<Finding>& findings) {
  const auto has = [&](const std::string& sentence) {
    return catalogue.translations.count(sentence) != 0;
  };
  if (isOriginal || sentences.empty()) return;
  if (std::none_of(sentences.begin(), sentences.end(), has)) {
    findings.insert({file, 1, 1, "untranslated",
                     "templates translate what the device says, and none of its " +
                         std::to_string(sentences.size()) +
                         " sentences is here; vistel strings writes them"});
    return;
  }
  for (const std::string& sentence : sentences) {
    if (has(sentence)) continue;
    findings.insert({file, 1, 1, "untranslated",
                     "the device's sentence " + Shown(sentence) + " has no translation here"});
  }
}

}  // namespace

void JudgeCatalogues(const std::map<std::string, std::set<Use>>& texts,
                     const std::optional<std::set<std::string>>& sentences,
                     const std::string& language, const std::string& root,
                     const Catalogues& catalogues, std::set<Finding>& findings) {
  for (const auto& [text, uses] : texts) {
    std::string missing;
    for (const auto& [each, catalogue] : catalogues) {
      const auto found = catalogue.translations.find(text);
      const bool there = found != catalogue.translations.end() && !found->second.text.empty();
      if (!there && each != language) missing += (missing.empty() ? "" : ", ") + each;
    }
    if (missing.empty()) continue;
    findings.insert(
        uses.begin()->ToFinding("untranslated", Shown(text) + " has no translation in " + missing));
  }
  for (const auto& [each, catalogue] : catalogues) {
    const std::string file = NameFrom(root, catalogue.path);
    FindMissingSentences(sentences.value_or(std::set<std::string>()), catalogue, file,
                         each == language, findings);
    for (const auto& [text, translation] : catalogue.translations) {
      const bool known = texts.count(text) != 0 || !sentences || sentences->count(text) != 0;
      if (!known) {
        findings.insert({file, translation.line, 1, "unused-translation",
                         "no template translates " + Shown(text)});
      } else if (!translation.text.empty() && MarkupOf(text) != MarkupOf(translation.text)) {
        findings.insert({file, translation.line, 1, "translation-markup",
                         "tags or placeholders differ from those of " + Shown(text)});
      }
    }
  }
}

void JudgeSentences(const std::set<Use>& shown, const std::string& language,
                    const Catalogues& catalogues, std::set<Finding>& findings) {
  const bool translates = std::any_of(catalogues.begin(), catalogues.end(),
                                      [&](const auto& each) { return each.first != language; });
  if (!translates) return;
  for (const Use& use : shown) {
    findings.insert(use.ToFinding("untranslated",
                                  "this sentence of the device is not translated; where it isn't "
                                  "empty, write <~ trans ${" +
                                      use.name + "} ~>"));
  }
}

void JudgeLanded(const std::set<LandedTranslation>& landed, const Catalogues& catalogues,
                 std::set<Finding>& findings) {
  for (const LandedTranslation& each : landed) {
    const std::string& text = each.text.name;
    const auto judge = [&](const std::string& words, const std::string& whose) {
      if (words.find_first_of(each.signs) == std::string::npos) return false;
      const std::string message =
          whose + " holds a sign that ends the place where it stands, " + each.where;
      findings.insert(each.text.ToFinding("translation-markup", message));
      return true;
    };
    if (judge(text, "this text")) continue;
    for (const auto& [language, catalogue] : catalogues) {
      const auto found = catalogue.translations.find(text);
      if (found == catalogue.translations.end()) continue;
      if (judge(found->second.text, "the translation '" + language + "'")) break;
    }
  }
}
