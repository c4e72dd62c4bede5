// SPDX-License-Identifier: MIT
//
// Catalogues, compared with the texts that the site translates.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "author/check/Context.h"

// `sentences` are the device's, which templates translate too; without them, nobody knows which
// translations are unused. `language` is that of the texts themselves.
void JudgeCatalogues(const std::map<std::string, std::set<Use>>& texts,
                     const std::optional<std::set<std::string>>& sentences,
                     const std::string& language, const std::string& root, const Context& context,
                     std::set<Finding>& findings);
