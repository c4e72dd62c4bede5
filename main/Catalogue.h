// SPDX-License-Identifier: MIT
//
// Makes gettext answer in the language of the request.
#pragma once

#include <string>

// From here on gettext looks texts up in <localeDir>/<language>/LC_MESSAGES/<textDomain>.mo and
// hands them out in UTF-8, whatever locales the machine has and whatever locale the web server's
// environment names. A catalogue that names no character set comes as it is. Call once.
void SelectCatalogue(const std::string& language, const std::string& localeDir,
                     const std::string& textDomain);
