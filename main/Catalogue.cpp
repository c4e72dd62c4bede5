// SPDX-License-Identifier: MIT
#include "main/Catalogue.h"

#include <libintl.h>

#include <clocale>
#include <cstdlib>

namespace {

#ifdef __GLIBC__

// A locale without a language; see SetMessageLocale.
constexpr char kNeutralLocale[] = "C.utf8";

// gettext obeys LANGUAGE, but not while the locale for messages is "C". The locale of the request's
// language is rarely installed, but any other locale than "C" is enough.
void SetMessageLocale(const std::string& language, const std::string& localeDir) {
  setenv("LANG", language.c_str(), 1);
  setenv("LANGUAGE", language.c_str(), 1);
  setenv("LC_ALL", kNeutralLocale, 1);
  if (std::setlocale(LC_MESSAGES, "") != nullptr) return;
  // The machine has no such locale, so use the one that is installed with the catalogues.
  setenv("LOCPATH", localeDir.c_str(), 1);
  if (std::setlocale(LC_MESSAGES, "") != nullptr) return;
  unsetenv("LC_ALL");
  unsetenv("LC_MESSAGES");
  static_cast<void>(std::setlocale(LC_MESSAGES, ""));
}

#else

// musl's gettext ignores LANGUAGE: the name of the locale for messages chooses the catalogue. musl
// takes any name.
void SetMessageLocale(const std::string& language, const std::string& /*localeDir*/) {
  setenv("LANG", language.c_str(), 1);
  setenv("LC_ALL", language.c_str(), 1);
  static_cast<void>(std::setlocale(LC_MESSAGES, ""));
}

#endif

}  // namespace

void SelectCatalogue(const std::string& language, const std::string& localeDir,
                     const std::string& textDomain) {
  SetMessageLocale(language, localeDir);
  bindtextdomain(textDomain.c_str(), localeDir.c_str());
  // Without this, the "C" locale's character set would turn every umlaut into "?".
  bind_textdomain_codeset(textDomain.c_str(), "UTF-8");
  ::textdomain(textDomain.c_str());
}
