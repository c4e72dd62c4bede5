// SPDX-License-Identifier: MIT
#include "main/Catalogue.h"

#include <libintl.h>

#include <clocale>
#include <cstdlib>

namespace {

// A locale that says nothing about the language; see SetMessageLocale.
constexpr char kNeutralLocale[] = "C.utf8";

// gettext obeys LANGUAGE, but not while the locale for messages is "C", and the locale of the
// request's language is hardly ever installed. Any other locale will do.
void SetMessageLocale(const std::string& language, const std::string& localeDir) {
  setenv("LANG", language.c_str(), 1);
  setenv("LANGUAGE", language.c_str(), 1);
  setenv("LC_ALL", kNeutralLocale, 1);
  if (std::setlocale(LC_MESSAGES, "") != nullptr) return;
  // The machine has none at all: take the one that is installed with the catalogues.
  setenv("LOCPATH", localeDir.c_str(), 1);
  if (std::setlocale(LC_MESSAGES, "") != nullptr) return;
  unsetenv("LC_ALL");
  unsetenv("LC_MESSAGES");
  static_cast<void>(std::setlocale(LC_MESSAGES, ""));
}

}  // namespace

void SelectCatalogue(const std::string& language, const std::string& localeDir,
                     const std::string& textDomain) {
  SetMessageLocale(language, localeDir);
  bindtextdomain(textDomain.c_str(), localeDir.c_str());
  // Without it, the "C" locale's character set would turn every umlaut into "?".
  bind_textdomain_codeset(textDomain.c_str(), "UTF-8");
  ::textdomain(textDomain.c_str());
}
