// SPDX-License-Identifier: MIT
//
// What one pass over a page has seen, for the rules.
#pragma once

#include <string>
#include <vector>

#include "author/trace/Locator.h"
#include "author/trace/Placeholders.h"
#include "author/trace/Text.h"

// How a page is requested, which decides what it means.
struct EntryPoint {
  enum class Kind { kHtml, kJson, kXml, kPlain };
  std::string page;  // the template's name from the root, without "/" at its beginning
  std::string file;  // the value of "_file"
  Kind kind = Kind::kHtml;
};

struct Record {
  struct Read {
    std::string name;
    Place place;
    bool isSet = false;  // by the page itself, before
  };
  struct Assignment {
    std::string name;
    Place place;
    bool inBranch = false;
  };
  struct Query {
    std::vector<std::string> keys;  // what its text can be, see Alternatives.h
    Place place;
    bool repeated = false;  // is in a `do`
  };
  struct Translation {
    TextPtr text;
    Place place;
    bool inBranch = false;
  };
  struct Comparison {
    std::shared_ptr<const Condition> condition;
    Place place;
    bool repeated = false;  // is in a `do`
  };
  struct Include {
    enum class Problem { kNone, kMissing, kComputed, kRecursive, kArgument };
    Problem problem = Problem::kNone;
    std::string name;  // the file, from the root; as written when there is a problem
    Place place;
  };
  struct Error {
    std::string message;
    Place place;
  };

  EntryPoint entry;
  std::vector<std::string> files;  // names from the root
  std::vector<Read> reads;
  std::vector<Assignment> assignments;
  std::vector<Query> queries;
  std::vector<Translation> translations;
  std::vector<Comparison> comparisons;
  std::vector<Include> includes;
  std::vector<Error> errors;
  std::vector<Oddity> oddities;
  std::vector<WrongPlaceholder> wrongPlaceholders;
  TextPtr page;                       // null when the page ends with an error
  std::vector<std::size_t> branches;  // how many files each computed include could mean
};
