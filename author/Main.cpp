// SPDX-License-Identifier: MIT
//
// `vistel`, the tool of those who write templates: one command, and its exit status.
#include <cstdio>
#include <exception>

#include "author/CheckCommand.h"
#include "author/KeysCommand.h"
#include "author/NewCommand.h"
#include "author/Options.h"
#include "author/RenderCommand.h"
#include "author/StringsCommand.h"
#include "author/system/Failure.h"

namespace {

constexpr int kCouldNotWork = 2;

int Run(const Options& options) {
  if (options.help) {
    std::fputs(kHelp, stdout);
    return 0;
  }
  if (options.version) {
    std::puts("vistel " VISTEL_VERSION);
    return 0;
  }
  if (options.command == "check") return options.watch ? WatchSite(options) : CheckSite(options);
  if (options.command == "keys") return PrintKeys(options);
  if (options.command == "new") return LayOutSite(options);
  if (options.command == "render") return RenderPage(options);
  if (options.command == "strings") return WriteStrings(options);
  throw Failure("there is no command '" + options.command + "'; see --help");
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return Run(ParseOptions(count, arguments));
  } catch (const std::exception& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "vistel: %s\n", failure.what());
    return kCouldNotWork;
  }
}
