// SPDX-License-Identifier: MIT
//
// Language negotiation: a language is available only if its compiled catalogue can be opened and
// isn't damaged.
#include <algorithm>

#include "base/Characters.h"
#include "base/RegularFile.h"
#include "request/Environment.h"
#include "request/MessageCatalogue.h"
#include "request/RequestHandler.h"
#include "values/WGLVariables.h"

namespace {

constexpr std::size_t kLanguageBytes = 2;

}  // namespace

bool RequestHandler::IsValidLanguage(const std::string& language, const std::string& localeDir,
                                     const std::string& textDomain) const {
  catalogue_ = CatalogueState::kDamaged;
  // Checks the letters first, so that nothing else of the request becomes part of a path.
  if (language.size() != kLanguageBytes) return false;
  if (!IsAsciiLetter(language[0]) || !IsAsciiLetter(language[1])) return false;
  const std::string path = localeDir + "/" + language + "/LC_MESSAGES/" + textDomain + ".mo";
  // gettext would wait for the writer of a FIFO for ever.
  const OpenedFile file = OpenRegularFile(path);
  if (file.descriptor.IsOpen()) catalogue_ = StateOfCatalogue(file);
  return catalogue_ != CatalogueState::kDamaged;
}

// Tries entries in the header's order. Blanks aren't skipped, so "en, de" never selects "de";
// quality values aren't read.
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
  static_cast<void>(IsValidLanguage(kDefaultLanguage, localeDir, textDomain));
  return kDefaultLanguage;
}
