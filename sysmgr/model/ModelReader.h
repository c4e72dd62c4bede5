// SPDX-License-Identifier: MIT
//
// Reads a model from its JSON file. The rule to know: a model is right as a whole or not used at
// all, so that a slip of the pen is found at start and not by a customer.
#pragma once

#include <cstddef>
#include <string>

#include "sysmgr/model/Model.h"

// Largest model file: thousands of keys with their help texts.
inline constexpr std::size_t kMaxModelBytes = std::size_t{4} << 20;

// Most characters that a text setting may have: settings are read and written whole, and a batch
// of them has to fit into one request.
inline constexpr std::int64_t kMaxTextCharacters = 65536;

// Both throw StartFailure with the file, the line or key, and what is wrong there. `path` is what
// messages call the file.
Model ReadModelFile(const std::string& path);
Model ReadModel(const std::string& path, const std::string& text);
