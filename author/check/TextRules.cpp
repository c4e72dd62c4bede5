// SPDX-License-Identifier: MIT
//
// Texts to be translated. Which of them lack a translation is decided when all pages have been
// seen.
#include "author/check/Judges.h"
#include "author/trace/Alternatives.h"

void JudgeTexts(const Record& record, const DeviceModel& /*model*/, PassResult& result) {
  for (const Record::Translation& each : record.translations) {
    for (const std::string& text : AlternativesOf(*each.text, {})) {
      if (!IsConcrete(text)) {
        result.translatesForeign = true;
      } else if (!text.empty()) {
        const Finding where = At(record, each.place, "", "");
        result.texts.push_back({text, where.file, where.line, where.column});
      } else if (!each.inBranch) {
        result.always.push_back(At(record, each.place, "empty-text",
                                   "this text can be empty, whose translation is the head of the "
                                   "catalogue; translate it only if it isn't"));
      }
    }
  }
}
