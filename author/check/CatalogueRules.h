// SPDX-License-Identifier: MIT
//
// Catalogues, compared with the texts that the site translates.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "author/catalogue/Catalogue.h"
#include "author/check/PassResult.h"

using Catalogues = std::map<std::string, Catalogue>;  // by language

// `sentences` are the device's, which templates translate too; without them, nobody knows which
// translations are unused. `language` is that of the texts themselves.
void JudgeCatalogues(const std::map<std::string, std::set<Use>>& texts,
                     const std::optional<std::set<std::string>>& sentences,
                     const std::string& language, const std::string& root,
                     const Catalogues& catalogues, std::set<Finding>& findings);

// Sentences of the device that pages show as they are, though the site has further languages.
void JudgeSentences(const std::set<Use>& shown, const std::string& language,
                    const Catalogues& catalogues, std::set<Finding>& findings);

// Texts and translations with a sign that ends the place where they land.
void JudgeLanded(const std::set<LandedTranslation>& landed, const Catalogues& catalogues,
                 std::set<Finding>& findings);
