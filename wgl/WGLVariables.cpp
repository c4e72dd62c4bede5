// SPDX-License-Identifier: MIT
#include "wgl/WGLVariables.h"

#include <algorithm>

#include "wgl/WGLCharacters.h"
#include "wgl/WGLEscaper.h"

WGLVariables::WGLVariables() {
  entries_.reserve(kInitialEntries);
}

WGLVariables::iterator WGLVariables::find(std::string_view name) {
  return std::find_if(entries_.begin(), entries_.end(),
                      [name](const Entry& entry) { return entry.first == name; });
}

WGLVariables::const_iterator WGLVariables::find(std::string_view name) const {
  return std::find_if(entries_.begin(), entries_.end(),
                      [name](const Entry& entry) { return entry.first == name; });
}

std::string WGLVariables::Get(std::string_view name, std::string_view escaping) const {
  const auto entry = find(name);
  return entry != end() ? WGLEscaper(escaping).Escape(entry->second) : std::string();
}

void WGLVariables::Set(std::string_view name, std::string_view value) {
  const auto entry = find(name);
  if (entry != end()) {
    entry->second = value;
  } else {
    entries_.emplace_back(name, value);
  }
}

std::string WGLVariables::ReplaceSpecialChars(const std::string& text) {
  std::string result = text;
  for (char& byte : result) {
    if (byte != '_' && !IsAsciiAlphanumeric(byte)) byte = '_';
  }
  return result;
}
