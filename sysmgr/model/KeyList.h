// SPDX-License-Identifier: MIT
//
// The list of a model's keys for people and tools: the key "Model.Keys", which every model has
// without naming it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/model/Model.h"

namespace KeyList {

inline constexpr const char* kKey = "Model.Keys";
inline constexpr const char* kSource = "model-keys";

// The columns of its rows: Key, Type, Access, Limits, Help.
const std::vector<std::string>& Columns();

// The key of the list itself.
ModelKey Definition();

// A row for each key that is open to the client, in the model's order.
std::vector<std::vector<std::string>> Rows(const Model& model, std::string_view client);

}  // namespace KeyList
