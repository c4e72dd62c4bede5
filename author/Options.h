// SPDX-License-Identifier: MIT
//
// The command line of `vistel`.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline constexpr std::string_view kRootOption = "--root=";

struct Options {
  enum class Format { kText, kJson, kSarif };

  std::string command;   // "check", "render", "strings", "keys", "new"; "" for --help and --version
  std::string root;      // as it was written; gDocumentRoot is the folder that it means
  std::string model;     // a path
  std::string locale;    // folder of catalogues: <here>/de.po
  std::string values;    // a path; "" for the model's defaults
  std::string language;  // what the browser asks for; "" for nothing
  std::string query;     // of the address, after "?"
  std::string output;    // a path; "" for standard output
  std::string sentences;  // the program that prints the service's sentences; "" for none
  std::string rule;       // to explain; "" for none
  std::vector<std::pair<std::string, std::string>> fields;  // of the request: name, value
  std::vector<std::string> files;
  Format format = Format::kText;
  bool headers = false;
  bool canary = false;
  bool watch = false;
  bool pseudo = false;
  bool help = false;
  bool version = false;
};

// Throws Failure for a command line that makes no sense.
Options ParseOptions(int count, char** arguments);

// What --help prints.
extern const char kHelp[];
