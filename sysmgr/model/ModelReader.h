// SPDX-License-Identifier: MIT
//
// Reads a model from its JSON file. The rule to know: the service uses only a model without faults,
// so that a maker finds a mistake at the start and not a customer later.
#pragma once

#include <cstddef>
#include <string>

#include "sysmgr/model/Model.h"

// The largest model file: thousands of keys with their help texts.
inline constexpr std::size_t kMaxModelBytes = std::size_t{4} << 20;

// The most characters of a text setting: settings are read and written whole, and a batch of them
// has to fit into one request.
inline constexpr std::int64_t kMaxTextCharacters = 65536;

// Both throw StartFailure with the file, the line or key, and what is wrong there. `path` is the
// name of the file in messages.
Model ReadModelFile(const std::string& path);
Model ReadModel(const std::string& path, const std::string& text);
