// SPDX-License-Identifier: MIT
//
// Mistakes that the scanner, the parser and the include stack see, and texts that they let pass.
#include "author/check/Judges.h"

namespace {

void JudgeInclude(const Record& record, const Record::Include& include, PassResult& result) {
  const auto find = [&](Findings& findings, const char* rule, const std::string& message) {
    findings.push_back(At(record, include.place, rule, message));
  };
  switch (include.problem) {
    case Record::Include::Problem::kNone:
      result.includes.push_back(include.name);
      break;
    case Record::Include::Problem::kMissing:
      find(result.asPage, "missing-include",
           "there is no file '" + include.name +
               "' here; a name that begins with '/' is relative "
               "to the root, any other to this file's folder");
      break;
    case Record::Include::Problem::kRecursive:
      find(result.always, "recursive-include",
           "'" + include.name + "' includes itself, without an end");
      break;
    case Record::Include::Problem::kComputed:
      find(result.always, "computed-include",
           "a request can name this file; choose one of some names with if");
      break;
    case Record::Include::Problem::kArgument:
      find(result.always, "include-argument",
           "an include as an argument is read as code; put it into a string");
      break;
  }
}

void JudgeOddity(const Record& record, const Oddity& oddity, PassResult& result) {
  const auto find = [&](const char* rule, const std::string& message) {
    result.always.push_back(At(record, oddity.place, rule, message));
  };
  switch (oddity.kind) {
    case Oddity::Kind::kSwallowed:
      find("swallowed", "'" + oddity.excerpt +
                            "' is text, because '$' takes the next byte with it; "
                            "write &#36; for '$'");
      break;
    case Oddity::Kind::kNotVariable:
      find("not-variable", "'" + oddity.excerpt +
                               "' comes out as it is; a variable is ${name}, "
                               "${name htmltext} or ${name htmlesc}");
      break;
    case Oddity::Kind::kUnbalanced:
      find("unbalanced-file", "this closes what another file has opened");
      break;
    case Oddity::Kind::kLeftOpen:
      find("unbalanced-file", "this is still open at the end of the file");
      break;
  }
}

}  // namespace

void JudgeSyntax(const Record& record, const DeviceModel& /*model*/, PassResult& result) {
  // A file that is only included shows its errors where it is included.
  for (const Record::Error& error : record.errors) {
    result.asPage.push_back(At(record, error.place, "syntax", error.message));
  }
  for (const Record::Include& include : record.includes) JudgeInclude(record, include, result);
  for (const Oddity& oddity : record.oddities) JudgeOddity(record, oddity, result);
  result.branches = record.branches;
}
