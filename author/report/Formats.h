// SPDX-License-Identifier: MIT
//
// Writes findings for people, for scripts, and for code hosts.
#pragma once

#include <set>
#include <string>

#include "author/report/Finding.h"

// A line for each: FILE:LINE:COLUMN: error|warning: MESSAGE [RULE]. With colours for a terminal.
std::string AsText(const std::set<Finding>& findings, bool colours);

// An object a line: file, line, column, severity, rule, message.
std::string AsJson(const std::set<Finding>& findings);

// SARIF 2.1.0.
std::string AsSarif(const std::set<Finding>& findings);
