// SPDX-License-Identifier: MIT
//
// What a pass over a page brings back from its process: findings, and what has to be compared with
// other pages before it can be judged.
#pragma once

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "author/report/Finding.h"

// A name that is used at a place.
struct Use {
  std::string name;
  std::string file;
  unsigned line = 0;
  unsigned column = 0;

  Finding ToFinding(std::string rule, std::string message) const {
    return {file, line, column, std::move(rule), std::move(message)};
  }
  bool operator<(const Use& other) const {
    return std::tie(name, file, line, column) <
           std::tie(other.name, other.file, other.line, other.column);
  }
};

// A translation that lands where some signs would end the place.
struct LandedTranslation {
  Use text;
  std::string signs;
  std::string where;  // such as "in a script"

  bool operator<(const LandedTranslation& other) const {
    return std::tie(text, signs, where) < std::tie(other.text, other.signs, other.where);
  }
};

struct PassResult {
  Findings always;                    // what is wrong however the page is requested
  Findings asPage;                    // what is wrong only if it is meant to be requested
  std::vector<std::size_t> branches;  // how many files each computed include could mean
  std::vector<std::string> includes;  // files, from the root
  std::vector<Use> assigned;          // variables
  std::vector<std::string> read;
  std::vector<Use> unset;                 // read without having been set
  std::vector<std::string> given;         // the names of fields in forms and links
  std::vector<Use> texts;                 // to be translated
  std::vector<LandedTranslation> landed;  // each once
  std::vector<Use> sentences;             // variables with sentences of the device, not translated
  bool translatesForeign = false;         // such as sentences of the service
};

// A result as bytes, from one process of this program to another.
std::string Pack(PassResult result);

// Returns false, with `result` unspecified, when the bytes are not those of a whole result.
bool Unpack(std::string_view bytes, PassResult& result);
