// SPDX-License-Identifier: MIT
#include "main/Catalogue.h"

#include <libintl.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>

#include "base/Response.h"

namespace {

void Set(const char* name, const char* value) {
  if (setenv(name, value, 1) != 0) Response::Lose();
}

bool UseLocaleOfEnvironment() {
  errno = 0;
  if (std::setlocale(LC_MESSAGES, "") != nullptr) return true;
  if (errno == ENOMEM) Response::Lose();
  return false;
}

#ifdef __GLIBC__

// A locale without a language; see SetMessageLocale.
constexpr char kNeutralLocale[] = "C.utf8";

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
bool SetMessageLocale(const std::string& language, const std::string& /*localeDir*/) {
  Set("LANG", language.c_str());
  Set("LC_ALL", language.c_str());
  return UseLocaleOfEnvironment();
}

#endif

}  // namespace

bool SelectCatalogue(const std::string& language, const std::string& localeDir,
                     const std::string& textDomain) {
  const bool translates = SetMessageLocale(language, localeDir);
  if (bindtextdomain(textDomain.c_str(), localeDir.c_str()) == nullptr ||
      ::textdomain(textDomain.c_str()) == nullptr) {
    Response::Lose();
  }
  // Without this, the "C" locale's character set would turn every umlaut into "?". musl, which
  // knows no other character set, always returns null.
  const char* const codeset = bind_textdomain_codeset(textDomain.c_str(), "UTF-8");
#if defined(__GLIBC__) && !defined(__UCLIBC__)
  if (codeset == nullptr) Response::Lose();
  return translates;
#else
  // musl's gettext doesn't translate the empty text; another one was not tried.
  static_cast<void>(codeset);
  static_cast<void>(translates);
  return false;
#endif
}
