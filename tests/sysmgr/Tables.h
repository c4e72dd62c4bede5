// SPDX-License-Identifier: MIT
//
// Tables of tests as a text, and the models that some of them are about, with ' or " as in JSON.
#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include "platform/StringVector.h"
#include "sysmgr/log/Failure.h"

inline std::string Trim(const std::string& text) {
  const std::size_t begin = std::min(text.find_first_not_of(' '), text.size());
  return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

// A row a line, its cells with "=>" between them and blanks around them. A line that begins with
// "=>" goes on with the row before it.
inline std::vector<std::vector<std::string>> Rows(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  for (const std::string& piece : StringVector('\n', text)) {
    const std::string line = Trim(piece);
    if (line.empty()) continue;
    const bool goesOn = line.rfind("=>", 0) == 0;
    if (!goesOn) rows.emplace_back();
    for (std::size_t at = goesOn ? 2 : 0, end = 0; end != std::string::npos; at = end + 2) {
      end = line.find("=>", at);
      rows.back().push_back(Trim(line.substr(at, end - at)));
    }
  }
  return rows;
}

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

// What comes of the work while no file may grow beyond so many bytes.
template <typename Work>
std::string WithFileLimit(rlim_t bytes, Work work) {
  rlimit usual{};
  getrlimit(RLIMIT_FSIZE, &usual);
  const rlimit limit{bytes, usual.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &limit);
  std::string result = work();
  setrlimit(RLIMIT_FSIZE, &usual);
  static_cast<void>(std::signal(SIGXFSZ, handler));
  return result;
}
