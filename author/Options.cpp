// SPDX-License-Identifier: MIT
//
// The only file that knows the build's paths.
#include "author/Options.h"

#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "author/system/Failure.h"
#include "base/Settings.h"

const char kHelp[] =
    R"(Usage: vistel check [OPTION]... [FILE]...
       vistel render [OPTION]... [PAGE]
       vistel strings [OPTION]... [-o FILE.pot]
       vistel keys [--model FILE]
       vistel new DIR

  check    finds mistakes in templates: in all of them below the root, or in FILEs
  render   prints a page as the device would, without a device
  strings  prints the texts to translate as a catalogue's template
  keys     prints the model's keys as a page of documentation
  new      lays out a small site to begin with

FILEs and PAGE are named from the root, such as wgl/main.wgl.

      --root DIR         the site's folder, which is the document root (default: this folder)
      --model FILE       the device's model (default: model.json in the root, or the installed one)
      --catalogues DIR   folder of DIR/xx.po (default: locale in the root)
      --sentences PROGRAM  a system manager that lists its sentences (default: sysmgrd of the PATH)
check:
      --format FORMAT    text, json (an object a line) or sarif
      --explain RULE     says what a rule finds, with an example
      --watch            checks again whenever a file is saved
render:
      --values FILE      the device's values, JSON: {"System.DeviceName": "Attic"}
      --query STRING     the request's query, what follows "?" in the address
  -D, --define NAME=VALUE  one more field of the request
      --lang LANGUAGE    what the browser asks for
      --headers          prints the headers too
      --canary           adds markup to each foreign text and names those that come out raw
strings:
  -o, --output FILE      where to write (default: standard output)
      --pseudo           a catalogue of accented, longer texts for looking at pages
  -h, --help             prints this
      --version          prints the version

Exit status: 0 nothing found, 1 something found (render: a template error), 2 it could not work.
)";

namespace {

constexpr std::array<option, 18> kOptions = {{{"root", required_argument, nullptr, 'r'},
                                              {"model", required_argument, nullptr, 'm'},
                                              {"catalogues", required_argument, nullptr, 'c'},
                                              {"sentences", required_argument, nullptr, 's'},
                                              {"format", required_argument, nullptr, 'f'},
                                              {"explain", required_argument, nullptr, 'e'},
                                              {"watch", no_argument, nullptr, 'w'},
                                              {"values", required_argument, nullptr, 'v'},
                                              {"query", required_argument, nullptr, 'q'},
                                              {"define", required_argument, nullptr, 'D'},
                                              {"lang", required_argument, nullptr, 'l'},
                                              {"headers", no_argument, nullptr, 'H'},
                                              {"canary", no_argument, nullptr, 'C'},
                                              {"output", required_argument, nullptr, 'o'},
                                              {"pseudo", no_argument, nullptr, 'p'},
                                              {"help", no_argument, nullptr, 'h'},
                                              {"version", no_argument, nullptr, 'V'},
                                              {nullptr, 0, nullptr, 0}}};

Options::Format FormatOf(const std::string& word) {
  if (word == "text") return Options::Format::kText;
  if (word == "json") return Options::Format::kJson;
  if (word == "sarif") return Options::Format::kSarif;
  throw Failure("there is no format '" + word + "'; choose text, json or sarif");
}

void AddField(const std::string& definition, Options& options) {
  const std::size_t equals = definition.find('=');
  if (equals == std::string::npos) throw Failure("-D takes NAME=VALUE, not '" + definition + "'");
  options.fields.emplace_back(definition.substr(0, equals), definition.substr(equals + 1));
}

std::string* TextOf(int chosen, Options& options) {
  switch (chosen) {
    case 'r':
      return &options.root;
    case 'm':
      return &options.model;
    case 'c':
      return &options.locale;
    case 's':
      return &options.sentences;
    case 'e':
      return &options.rule;
    case 'v':
      return &options.values;
    case 'q':
      return &options.query;
    case 'l':
      return &options.language;
    case 'o':
      return &options.output;
    default:
      return nullptr;
  }
}

bool* FlagOf(int chosen, Options& options) {
  switch (chosen) {
    case 'w':
      return &options.watch;
    case 'H':
      return &options.headers;
    case 'C':
      return &options.canary;
    case 'p':
      return &options.pseudo;
    case 'h':
      return &options.help;
    case 'V':
      return &options.version;
    default:
      return nullptr;
  }
}

void FillIn(Options& options) {
  if (options.model.empty()) {
    options.model = gDocumentRoot + "/model.json";
    if (access(options.model.c_str(), R_OK) != 0) options.model = VISTEL_SYSMGR_MODEL;
  }
  if (options.locale.empty()) options.locale = gDocumentRoot + "/locale";
  if (options.sentences.empty()) options.sentences = "sysmgrd";
}

}  // namespace

Options ParseOptions(int count, char** arguments) {
  Options options;
  optind = 1;
  opterr = 0;
  int chosen = 0;
  while ((chosen = getopt_long(count, arguments, "D:o:h", kOptions.data(), nullptr)) != -1) {
    if (std::string* text = TextOf(chosen, options)) {
      *text = optarg;
    } else if (bool* flag = FlagOf(chosen, options)) {
      *flag = true;
    } else if (chosen == 'f') {
      options.format = FormatOf(optarg);
    } else if (chosen == 'D') {
      AddField(optarg, options);
    } else {
      throw Failure("'" + std::string(arguments[optind - 1]) +
                    "' is unknown or lacks its value; see --help");
    }
  }
  if (options.help || options.version) return options;
  if (optind == count)
    throw Failure("say what to do: check, render, strings, keys or new; see --help");
  options.command = arguments[optind++];
  options.files.assign(arguments + optind, arguments + count);
  // The root's name may have been taken from another place than getopt took it from.
  if (gDocumentRoot.empty()) throw Failure("there is no folder '" + options.root + "'");
  FillIn(options);
  return options;
}
