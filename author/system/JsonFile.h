// SPDX-License-Identifier: MIT
//
// Reads a JSON file, and small files as a whole.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>

// No template, model or catalogue is larger.
inline constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;

// Both throw Failure, which names the file and, for a mistake in it, the line.
std::string ReadFile(const std::string& path);
nlohmann::json ReadJsonFile(const std::string& path);

// The library's message without the library's own prefix.
std::string ReasonOf(const nlohmann::json::exception& error);
