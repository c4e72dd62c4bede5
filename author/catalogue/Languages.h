// SPDX-License-Identifier: MIT
//
// The languages of a site are those of its catalogues; no other list exists.
#pragma once

#include <string>
#include <vector>

// The two letters of each xx.po of the folder, sorted; none when there is no such folder.
std::vector<std::string> LanguagesOf(const std::string& folder);
