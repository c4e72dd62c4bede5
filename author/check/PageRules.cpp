// SPDX-License-Identifier: MIT
//
// What becomes of the page: where foreign text lands in it, and its forms.
#include "author/check/Context.h"
#include "author/check/Forms.h"
#include "author/check/HtmlPage.h"
#include "author/check/Landing.h"
#include "author/check/Rendering.h"

namespace {

void JudgeLandings(const Record& record, const std::vector<Landed>& landings,
                   const Rendering& rendering, const Context& context, PassResult& result) {
  for (const Landed& landed : landings) {
    if (landed.spot >= rendering.spots.size()) continue;
    const Spot& spot = rendering.spots[landed.spot];
    const std::string problem = ProblemOf(spot, landed, context);
    if (problem.empty()) continue;
    const char* const rule = spot.isTranslation ? "translation-markup" : "raw";
    // More fields in an address matter only where the page is meant to be requested.
    const bool minor = landed.landing == Landing::kAddress && spot.IsEscaped(Escaping::kHtml);
    (minor ? result.asPage : result.always).push_back(At(record, spot.place, rule, problem));
  }
}

}  // namespace

void JudgePage(const Record& record, const Context& context, PassResult& result) {
  if (record.page == nullptr || record.entry.kind == EntryPoint::Kind::kPlain) return;
  Renderer renderer(*record.page);
  FormJudge forms(record, context);
  Rendering rendering;
  while (renderer.Next(rendering)) {
    if (record.entry.kind == EntryPoint::Kind::kJson) {
      JudgeLandings(record, LandingsInJson(rendering), rendering, context, result);
      continue;
    }
    const HtmlPage page(rendering);
    const bool isXml = record.entry.kind == EntryPoint::Kind::kXml;
    JudgeLandings(record, LandingsIn(page, isXml), rendering, context, result);
    if (!isXml) forms.Take(page, rendering);
  }
  forms.Report(result);
}
