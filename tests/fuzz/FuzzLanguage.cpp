// SPDX-License-Identifier: MIT
//
// Fuzz target: which language answers a request. The input is the header HTTP_ACCEPT_LANGUAGE, a
// newline, and the variable "_lang"; without a newline there is no variable. The catalogues are
// made by the build, see CMakeLists.txt; beside the usable ones there are traps.
#include <fcntl.h>

#include <algorithm>
#include <cstdarg>
#include <string>

#include "request/RequestHandler.h"
#include "tests/fuzz/FuzzTarget.h"
#include "values/WGLVariables.h"

namespace {

const std::string kLocaleDir = FUZZ_LOCALE_DIR;
constexpr char kTextDomain[] = "vistel";
constexpr const char* kLanguages[] = {"de", "fr", "Pt"};
constexpr std::size_t kLanguageBytes = 2;

bool gRunning = false;

bool HasCatalogue(const std::string& language) {
  return std::any_of(std::begin(kLanguages), std::end(kLanguages),
                     [&](const char* known) { return language == known; });
}

bool IsLetter(char byte) {
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

// Nothing of a request but two letters may ever be part of a path.
bool IsCataloguePath(const std::string& path) {
  const std::string before = kLocaleDir + "/";
  const std::string behind = std::string("/LC_MESSAGES/") + kTextDomain + ".mo";
  return path.size() == before.size() + kLanguageBytes + behind.size() &&
         path.compare(0, before.size(), before) == 0 && IsLetter(path[before.size()]) &&
         IsLetter(path[before.size() + 1]) &&
         path.compare(before.size() + kLanguageBytes, behind.size(), behind) == 0;
}

// The rule in other words: the first two bytes behind the start and behind each comma.
std::string ExpectedLanguage(const std::string& header, const std::string& requested) {
  if (HasCatalogue(requested)) return requested;
  for (std::size_t i = 0; i + kLanguageBytes <= header.size(); ++i) {
    if (i != 0 && header[i - 1] != ',') continue;
    std::string candidate = header.substr(i, kLanguageBytes);
    if (HasCatalogue(candidate)) return candidate;
  }
  return "en";
}

// setenv() would keep every value for ever.
void SetHeader(const std::string& header) {
  static std::string entry;
  unsetenv("HTTP_ACCEPT_LANGUAGE");
  entry = "HTTP_ACCEPT_LANGUAGE=" + header;
  putenv(entry.data());
}

}  // namespace

// The linker puts this function in the place of open().
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" int __real_open(const char* path, int flags, ...);
extern "C" int __wrap_open(const char* path, int flags, ...) {
  if (gRunning) Check(IsCataloguePath(path), "only catalogues are opened");
  va_list arguments;
  va_start(arguments, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
  va_end(arguments);
  return __real_open(path, flags, mode);
}
// NOLINTEND(bugprone-reserved-identifier)

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(data, data + size);
  const std::size_t newline = input.find('\n');
  // The environment holds no NUL byte.
  static const std::string kHeaderEnd("\n\0", 2);
  const std::string header = input.substr(0, input.find_first_of(kHeaderEnd));
  WGLVariables variables;
  std::string requested;
  if (newline != std::string::npos) {
    requested = input.substr(newline + 1);
    variables.Set("_lang", requested);
  }
  SetHeader(header);

  gRunning = true;
  const RequestHandler handler(&variables);
  const std::string language = handler.DetermineLanguage(kLocaleDir, kTextDomain);
  const std::string withoutStore =
      RequestHandler(nullptr).DetermineLanguage(kLocaleDir, kTextDomain);
  const bool usable = handler.IsValidLanguage(requested, kLocaleDir, kTextDomain);
  gRunning = false;

  Check(language == "en" || HasCatalogue(language), "the answer is English or has a catalogue");
  Check(language == ExpectedLanguage(header, requested), "the first usable language wins");
  Check(withoutStore == ExpectedLanguage(header, ""), "without a store the header decides");
  Check(usable == HasCatalogue(requested), "a language is usable if it has a catalogue");
  return 0;
}
