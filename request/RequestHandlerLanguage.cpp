// SPDX-License-Identifier: MIT
//
// Language negotiation: a language counts only if its compiled catalogue can be opened.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "base/Characters.h"
#include "request/Environment.h"
#include "request/RequestHandler.h"
#include "values/WGLVariables.h"

namespace {

constexpr char kDefaultLanguage[] = "en";
constexpr std::size_t kLanguageBytes = 2;

}  // namespace

bool RequestHandler::IsValidLanguage(const std::string& language, const std::string& localeDir,
                                     const std::string& textDomain) const {
  // The letters come first: nothing else of the request ever becomes part of a path.
  if (language.size() != kLanguageBytes) return false;
  if (!IsAsciiLetter(language[0]) || !IsAsciiLetter(language[1])) return false;
  const std::string path = localeDir + "/" + language + "/LC_MESSAGES/" + textDomain + ".mo";
  const int catalogue = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (catalogue < 0) return false;
  // gettext would wait for the writer of a FIFO for ever.
  struct stat status;
  const bool isFile = fstat(catalogue, &status) == 0 && S_ISREG(status.st_mode);
  close(catalogue);
  return isFile;
}

// Entries are tried in the header's order; white space is not skipped and quality values are not
// read, so that an entry behind ", " is never usable.
std::string RequestHandler::DetermineLanguage(const std::string& localeDir,
                                              const std::string& textDomain) const {
  if (variables_ != nullptr) {
    std::string requested = variables_->Get("_lang", "");
    if (IsValidLanguage(requested, localeDir, textDomain)) return requested;
  }
  const std::string accepted = Environment("HTTP_ACCEPT_LANGUAGE");
  for (std::size_t position = 0; position < accepted.size();) {
    std::size_t end = accepted.find(',', position);
    if (end == std::string::npos) end = accepted.size();
    std::string candidate = accepted.substr(position, std::min(end - position, kLanguageBytes));
    if (IsValidLanguage(candidate, localeDir, textDomain)) return candidate;
    position = end + 1;
  }
  return kDefaultLanguage;
}
