// SPDX-License-Identifier: MIT
//
// What the rules know beside the page.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "author/catalogue/Catalogue.h"
#include "author/check/PassResult.h"
#include "author/model/DeviceModel.h"
#include "author/trace/Record.h"

struct Context {
  DeviceModel model;
  std::map<std::string, Catalogue> catalogues;  // by language
};

// A rule looks at a record and adds to a result.
using Judge = void (*)(const Record& record, const Context& context, PassResult& result);

void JudgeSyntax(const Record& record, const Context& context, PassResult& result);
void JudgeVariables(const Record& record, const Context& context, PassResult& result);
void JudgeQueries(const Record& record, const Context& context, PassResult& result);
void JudgeTexts(const Record& record, const Context& context, PassResult& result);
// Needs what the page is made of, see Landing.h and Forms.h.
void JudgePage(const Record& record, const Context& context, PassResult& result);

// A finding at a place of the record.
inline Finding At(const Record& record, Place place, std::string rule, std::string message) {
  const std::string file = place.file < record.files.size() ? record.files[place.file] : "";
  return {file, place.line, place.column, std::move(rule), std::move(message)};
}
