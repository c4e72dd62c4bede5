// SPDX-License-Identifier: MIT
//
// The rules that look at one pass over a page.
#pragma once

#include <string>
#include <utility>

#include "author/check/PassResult.h"
#include "author/model/DeviceModel.h"
#include "author/trace/Record.h"

// A rule looks at a record and adds to a result.
using Judge = void (*)(const Record& record, const DeviceModel& model, PassResult& result);

void JudgeSyntax(const Record& record, const DeviceModel& model, PassResult& result);
void JudgeVariables(const Record& record, const DeviceModel& model, PassResult& result);
void JudgeQueries(const Record& record, const DeviceModel& model, PassResult& result);
void JudgeTexts(const Record& record, const DeviceModel& model, PassResult& result);
// Needs what the page is made of, see Landing.h and Forms.h.
void JudgePage(const Record& record, const DeviceModel& model, PassResult& result);

// A finding at a place of the record.
inline Finding At(const Record& record, Place place, std::string rule, std::string message) {
  const std::string file = place.file < record.files.size() ? record.files[place.file] : "";
  return {file, place.line, place.column, std::move(rule), std::move(message)};
}
