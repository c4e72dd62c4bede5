// SPDX-License-Identifier: MIT
//
// Makes gettext translate into the language of the request.
#pragma once

#include <string>

// Makes gettext look texts up in <localeDir>/<language>/LC_MESSAGES/<textDomain>.mo and return them
// in UTF-8, independent of the locales of the machine and of the locale in the web server's
// environment. The texts of a catalogue that names no character set are returned unchanged. The
// catalogue must not be damaged. Call it once. Returns whether gettext is certain to read the
// catalogue, if there is one.
bool SelectCatalogue(const std::string& language, const std::string& localeDir,
                     const std::string& textDomain);
