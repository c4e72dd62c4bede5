// SPDX-License-Identifier: MIT
//
// Models for tests, written with ' where JSON has ".
#pragma once

#include <algorithm>
#include <string>

#include "sysmgr/log/Failure.h"

inline std::string ModelOf(const std::string& keys, const std::string& rules = "") {
  std::string text =
      "{'device': 'd', 'version': 1, 'keys': [" + keys + "], 'rules': [" + rules + "]}";
  std::replace(text.begin(), text.end(), '\'', '"');
  return text;
}

// "boolean read, 'source': 's'": the type, the access, then further members.
inline std::string KeyOf(const std::string& name, const std::string& text) {
  const std::size_t blank = text.find(' ');
  const std::size_t comma = std::min(text.find(','), text.size());
  return "{'key': '" + name + "', 'type': '" + text.substr(0, blank) + "', 'access': '" +
         text.substr(blank + 1, comma - blank - 1) + "'" + text.substr(comma) + "}";
}

inline std::string TextKey(const std::string& name, const std::string& value) {
  return KeyOf(name, "text read-write, 'minimum': 0, 'maximum': 65536, 'default': '" + value + "'");
}

// Why the work can't be done at a start; "none" when it can.
template <typename Work>
std::string FaultOf(Work work) {
  try {
    work();
    return "none";
  } catch (const StartFailure& failure) {
    return failure.what();
  }
}
