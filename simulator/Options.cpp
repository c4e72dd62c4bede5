// SPDX-License-Identifier: MIT
#include "simulator/Options.h"

#include <getopt.h>

#include <charconv>
#include <cstring>

namespace {

constexpr option kOptions[] = {
    {"socket", required_argument, nullptr, 's'},     {"seed", required_argument, nullptr, 'r'},
    {"hostile-names", no_argument, nullptr, 'n'},    {"fail", required_argument, nullptr, 'f'},
    {"fail-after", required_argument, nullptr, 'a'}, {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},          {nullptr, 0, nullptr, 0}};

template <typename Number>
bool Parse(const char* text, Number& number) {
  const char* const end = text + std::strlen(text);
  const auto [next, error] = std::from_chars(text, end, number);
  return error == std::errc() && next == end && *text != '-';
}

}  // namespace

std::string ParseOptions(int count, char** arguments, Options& options) {
  options.socket = VISTEL_SYSMGR_PROVIDERS;
  optind = 1;
  opterr = 0;
  int chosen = 0;
  while ((chosen = getopt_long(count, arguments, "", kOptions, nullptr)) != -1) {
    switch (chosen) {
      case 's':
        options.socket = optarg;
        break;
      case 'r':
        if (!Parse(optarg, options.seed)) return "--seed must be a whole number";
        break;
      case 'n':
        options.names = Powerline::Names::kHostile;
        break;
      case 'f':
        if (!Misbehaviour::Parse(optarg, options.failure)) return "--fail: see --help";
        break;
      case 'a':
        if (!Parse(optarg, options.failAfterSeconds)) return "--fail-after must be whole seconds";
        break;
      case 'h':
        options.wantsHelp = true;
        break;
      case 'v':
        options.wantsVersion = true;
        break;
      default:
        return "'" + std::string(arguments[optind - 1]) + "' is unknown or lacks its value";
    }
  }
  if (optind < count) return "'" + std::string(arguments[optind]) + "' is unknown; see --help";
  return "";
}

std::string HelpText() {
  return "Usage: vistel-simulator [OPTION ...]\n"
         "\n"
         "A powerline adapter with seven others around it that exists only in numbers. It "
         "connects\n"
         "to the system manager as a real device would, until it is ended by a signal. The signal\n"
         "USR1 pulls one of the others out of its socket, or plugs it in again.\n"
         "\n"
         "  --socket PATH         where providers connect (" VISTEL_SYSMGR_PROVIDERS
         ")\n"
         "  --seed NUMBER         of everything that looks like chance (1)\n"
         "  --hostile-names       stations go by names that pages have to bear\n"
         "  --fail KIND           misbehave: die, stall, flood or lie\n"
         "  --fail-after SECONDS  after having behaved for so long (0)\n"
         "  --help, --version\n";
}
