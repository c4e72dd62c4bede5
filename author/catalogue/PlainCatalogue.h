// SPDX-License-Identifier: MIT
//
// Reads catalogues that hold nothing unusual, which is most of them, in a tenth of the library's
// time.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "author/catalogue/Catalogue.h"

// The translations, each with the line of its text. Nothing unless each line is empty, a comment,
// or a text in quotes after `msgid`, `msgstr` or nothing, in UTF-8: everything else, and every
// mistake, is the library's.
std::optional<std::map<std::string, Translation>> ReadPlainCatalogue(std::string_view file);
