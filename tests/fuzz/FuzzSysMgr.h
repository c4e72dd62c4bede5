// SPDX-License-Identifier: MIT
//
// In the place of the system manager: tables that follow from the keys that are asked for, hostile
// cells among them, so that the same template always gives the same page.
#pragma once

#include <string>

// Forgets what has been asked. After a few queries of a run the tables have a single row, since a
// few nested tables would make a page that no machine can hold.
void RestartSysMgr();

// From now on every answer is that one cell; null for tables again. `cell` must outlive that.
void AnswerSysMgrWith(const std::string* cell);
