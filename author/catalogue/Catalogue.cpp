// SPDX-License-Identifier: MIT
#include "author/catalogue/Catalogue.h"

#include <sstream>
#include <string_view>

#include "author/catalogue/PoHandler.h"
#include "author/system/Failure.h"
#include "author/system/JsonFile.h"

namespace {

// The text between the quotes of a line, without escapes.
std::string Unquoted(std::string_view line) {
  std::string text;
  const std::size_t begin = line.find('"');
  const std::size_t end = line.rfind('"');
  for (std::size_t i = begin + 1; begin < end && i < end; ++i) {
    if (line[i] == '\\' && i + 1 < end) {
      ++i;
      text += line[i] == 'n' ? '\n' : line[i] == 't' ? '\t' : line[i];
    } else {
      text += line[i];
    }
  }
  return text;
}

// The line on which each text begins. The library doesn't tell.
std::map<std::string, unsigned> LinesOf(const std::string& file) {
  std::map<std::string, unsigned> lines;
  std::istringstream input(file);
  std::string line;
  std::string text;
  unsigned start = 0;  // of the text that is being read; 0 when none is
  for (unsigned number = 1; std::getline(input, line); ++number) {
    const bool begins = line.compare(0, 6, "msgid ") == 0;
    if (start != 0 && !begins && !line.empty() && line[0] == '"') {
      text += Unquoted(line);
      continue;
    }
    if (start != 0) lines.emplace(text, start);
    start = begins ? number : 0;
    if (begins) text = Unquoted(line);
  }
  return lines;
}

}  // namespace

Catalogue Catalogue::Read(const std::string& path) {
  const std::map<std::string, unsigned> lines = LinesOf(ReadFile(path));
  PoFile file;
  const std::string problem = PoProblem([&](const po_xerror_handler& handler) {
    file.reset(po_file_read(path.c_str(), &handler));
    return file != nullptr;
  });
  if (!problem.empty()) throw Failure("'" + path + "' is no catalogue: " + problem);
  Catalogue catalogue;
  catalogue.path = path;
  po_message_iterator_t messages = po_message_iterator(file.get(), nullptr);
  while (po_message_t message = po_next_message(messages)) {
    const std::string text = po_message_msgid(message);
    if (text.empty() || po_message_is_obsolete(message) != 0) continue;
    const bool fuzzy = po_message_is_fuzzy(message) != 0;
    const auto line = lines.find(text);
    catalogue.translations[text] = {fuzzy ? "" : po_message_msgstr(message),
                                    line == lines.end() ? 1 : line->second};
  }
  po_message_iterator_free(messages);
  return catalogue;
}
