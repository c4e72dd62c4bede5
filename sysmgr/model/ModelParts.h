// SPDX-License-Identifier: MIT
//
// Reads the parts of a model file: keys and rules. All functions throw StartFailure with `where`,
// the place in the file, followed by what is wrong there.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/model/Model.h"
#include "sysmgr/model/ModelObject.h"

namespace ModelParts {

// Messages name `where` until the key's name is known, and then `file` and the name.
ModelKey ReadKey(const nlohmann::json& json, const std::string& where, const std::string& file);
// The words of the file for a type and an access.
std::string_view WordOf(ValueType type);
std::string_view WordOf(Access access);

// The sentences of the member "events" of the model, none without it.
std::vector<std::string> ReadEvents(const Object& top);

ModelRule ReadRule(const nlohmann::json& json, const std::string& where);

}  // namespace ModelParts
