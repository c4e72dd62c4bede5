// SPDX-License-Identifier: MIT
//
// What becomes of the page: where foreign text lands in it, and its forms.
#include <algorithm>
#include <set>
#include <string_view>

#include "author/check/Forms.h"
#include "author/check/HtmlPage.h"
#include "author/check/Judges.h"
#include "author/check/Landing.h"
#include "author/check/Rendering.h"

namespace {

// What a translation holds is judged when the catalogues have been read.
void NoteTranslation(const Record& record, const Spot& spot, const Landed& landed,
                     std::set<LandedTranslation>& translations) {
  const std::string_view signs = EndingSigns(landed);
  const bool escaped = std::any_of(spot.escapings.begin(), spot.escapings.end(),
                                   [](Escaping each) { return each != Escaping::kNone; });
  if (escaped || signs.empty()) return;
  const Finding at = At(record, spot.place, "", "");
  translations.insert({{spot.name, at.file, at.line, at.column},
                       std::string(signs),
                       std::string(NameOf(landed.landing))});
}

// A sentence of the device that is shown as it is, in the device's language.
void NoteSentence(const Record& record, const Spot& spot, std::set<Use>& sentences) {
  constexpr std::string_view kPrefix = "_error_";
  if (spot.name.compare(0, kPrefix.size(), kPrefix) != 0) return;
  const Finding at = At(record, spot.place, "", "");
  sentences.insert({spot.name, at.file, at.line, at.column});
}

void JudgeLandings(const Record& record, const std::vector<Landed>& landings,
                   const Rendering& rendering, std::set<LandedTranslation>& translations,
                   std::set<Use>& sentences, PassResult& result) {
  for (const Landed& landed : landings) {
    if (landed.spot >= rendering.spots.size()) continue;
    const Spot& spot = rendering.spots[landed.spot];
    if (spot.isTranslation) {
      NoteTranslation(record, spot, landed, translations);
      continue;
    }
    if (landed.landing == Landing::kText) NoteSentence(record, spot, sentences);
    const std::string problem = ProblemOf(spot, landed);
    if (problem.empty()) continue;
    // More fields in an address matter only where the page is meant to be requested.
    const bool minor = landed.landing == Landing::kAddress && spot.IsEscaped(Escaping::kHtml);
    (minor ? result.asPage : result.always).push_back(At(record, spot.place, "raw", problem));
  }
}

}  // namespace

void JudgePage(const Record& record, const DeviceModel& model, PassResult& result) {
  if (record.page == nullptr || record.entry.kind == EntryPoint::Kind::kPlain) return;
  Renderer renderer(*record.page);
  FormJudge forms(record, model);
  std::set<LandedTranslation> translations;
  std::set<Use> sentences;
  HtmlMemory memory;
  Rendering rendering;
  while (renderer.Next(rendering)) {
    if (record.entry.kind == EntryPoint::Kind::kJson) {
      JudgeLandings(record, LandingsInJson(rendering), rendering, translations, sentences, result);
      continue;
    }
    const HtmlPage page(rendering, memory);
    const bool isXml = record.entry.kind == EntryPoint::Kind::kXml;
    JudgeLandings(record, LandingsIn(page, isXml), rendering, translations, sentences, result);
    if (!isXml) forms.Take(page, rendering);
  }
  forms.Report(result);
  result.landed.assign(translations.begin(), translations.end());
  result.sentences.assign(sentences.begin(), sentences.end());
}
