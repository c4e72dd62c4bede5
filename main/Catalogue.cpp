// SPDX-License-Identifier: MIT
#include "main/Catalogue.h"

#include <libintl.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>

#include "base/Response.h"

namespace {

#ifdef __GLIBC__

// A locale without a language; see SetMessageLocale.
constexpr char kNeutralLocale[] = "C.utf8";

void Set(const char* name, const char* value) {
  if (setenv(name, value, 1) != 0) Response::Lose();
}

bool UseLocaleOfEnvironment() {
  errno = 0;
  if (std::setlocale(LC_MESSAGES, "") != nullptr) return true;
  if (errno == ENOMEM) Response::Lose();
  return false;
}

// gettext obeys LANGUAGE, but not while the locale for messages is "C". The locale of the request's
// language is rarely installed, but any other locale than "C" is enough. Returns whether there is
// one.
bool SetMessageLocale(const std::string& language, const std::string& localeDir) {
  Set("LANG", language.c_str());
  Set("LANGUAGE", language.c_str());
  Set("LC_ALL", kNeutralLocale);
  if (UseLocaleOfEnvironment()) return true;
  // The machine has no such locale, so use the one that is installed with the catalogues.
  Set("LOCPATH", localeDir.c_str());
  if (UseLocaleOfEnvironment()) return true;
  unsetenv("LC_ALL");
  unsetenv("LC_MESSAGES");
  return UseLocaleOfEnvironment();
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

bool SelectCatalogue(const std::string& language, const std::string& localeDir,
                     const std::string& textDomain) {
  const bool translates = SetMessageLocale(language, localeDir);
  // Without the second, the "C" locale's character set would turn every umlaut into "?".
  if (bindtextdomain(textDomain.c_str(), localeDir.c_str()) == nullptr ||
      bind_textdomain_codeset(textDomain.c_str(), "UTF-8") == nullptr ||
      ::textdomain(textDomain.c_str()) == nullptr) {
    Response::Lose();
  }
#if defined(__GLIBC__) && !defined(__UCLIBC__)
  return translates;
#else
  return translates && false;  // other libraries don't obey LANGUAGE
#endif
}
