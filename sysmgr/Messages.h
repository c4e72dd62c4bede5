// SPDX-License-Identifier: MIT
//
// Lists, for translators, every sentence that a service with this model can put on a page.
#pragma once

#include <set>
#include <string>

#include "sysmgr/model/Model.h"

// Fills in the model's limits. Includes the sentences of a part if the model names one of its
// actions.
std::set<std::string> MessagesOf(const Model& model);
