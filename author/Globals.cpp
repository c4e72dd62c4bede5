// SPDX-License-Identifier: MIT
//
// The settings that the language's folders read, and its include stack. The document root is a
// constant that exists before main() starts, so the command line is read here too, for this one
// option.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "author/Options.h"
#include "base/Settings.h"
#include "wgl/WGLIncludeStack.h"

namespace {

// The command line as the system keeps it: each argument with a NUL byte after it.
std::string CommandLine() {
  std::string text;
  if (FILE* file = std::fopen("/proc/self/cmdline", "r")) {
    char block[4096];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file)) {
      text.append(block, count);
    }
    std::fclose(file);
  }
  return text;
}

// The last value of --root, resolved, because template names are confined by comparing paths; ""
// when there is no such folder.
std::string RootOfCommandLine() {
  std::string root = ".";
  const std::string line = CommandLine();
  std::string_view rest = line;
  bool follows = false;
  while (!rest.empty()) {
    const std::string_view argument = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(rest.size(), argument.size() + 1));
    if (follows) root = argument;
    follows = argument == "--root";
    if (argument.compare(0, kRootOption.size(), kRootOption) == 0) {
      root = argument.substr(kRootOption.size());
    }
  }
  char* resolved = realpath(root.c_str(), nullptr);
  if (resolved == nullptr) return "";
  std::string result = resolved;
  std::free(resolved);
  return result;
}

}  // namespace

const std::string gDocumentRoot = RootOfCommandLine();

WGLIncludeStack gIncludeStack;
