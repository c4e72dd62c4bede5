// SPDX-License-Identifier: MIT
//
// What translators need: every sentence that a service with this model can put on a page.
#pragma once

#include <set>
#include <string>

#include "sysmgr/model/Model.h"

// With the model's limits filled in; the sentences of the parts come with the actions that the
// model names.
std::set<std::string> MessagesOf(const Model& model);
