// SPDX-License-Identifier: MIT
//
// Fuzz target: the text of a query is split into keys. The input is the text as it stands.
#include <string>
#include <string_view>
#include <vector>

#include "platform/ConfigKey.h"
#include "platform/StringTable.h"
#include "tests/fuzz/FuzzTarget.h"
#include "values/WGLEscaper.h"

namespace {

bool IsBlank(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

// Everything but separators and blanks is part of a key.
std::size_t CountOfOthers(std::string_view text) {
  std::size_t count = 0;
  for (char byte : text) count += IsBlank(byte) || byte == ';' ? 0 : 1;
  return count;
}

// What a template writes with "htmlesc" into a selector stays in there.
void CheckEscapedSelector(const std::string& value) {
  const std::string text = "Table{Name=" + WGLEscaper("htmlesc").Escape(value) + "}.Column;Next";
  const std::vector<std::string_view> keys = Config::Key::Split(text);
  Check(keys.size() == 2 && keys[1] == "Next", "an escaped value adds no key");
  const Config::Key::Key key(keys[0]);
  Check(key.Path() == "Table" && key.Column() == "Column" && key.Options().empty() &&
            key.Selectors().size() == 1 && key.Selectors()[0].name == "Name" &&
            key.Selectors()[0].value == value,
        "an escaped value arrives as it was");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const std::vector<std::string_view> keys = Config::Key::Split(text);
  const StringTable table(text, StringTable::kQueryText);
  Check(table.Columns() == 1 && table.Rows() == keys.size(), "a query has a row for each key");
  std::size_t others = 0;
  for (unsigned row = 0; row < table.Rows(); ++row) {
    const std::string_view key = keys[row];
    Check(table.View(row, 0) == key, "a row is a key");
    Check(!key.empty() && !IsBlank(key.front()) && !IsBlank(key.back()), "blanks are dropped");
    Check(key.data() >= text.data() && key.data() + key.size() <= text.data() + text.size(),
          "a key is a part of the text");
    others += CountOfOthers(key);
    if (Config::Key::Key(key).IsValid()) {
      const std::vector<std::string_view> alone = Config::Key::Split(key);
      // Options may hold an opening brace, behind which nothing separates.
      Check(alone.size() == 1 && alone[0] == key, "a key is one key");
    }
  }
  Check(others == CountOfOthers(text), "nothing of a key is lost");
  CheckEscapedSelector(text);
  return 0;
}
