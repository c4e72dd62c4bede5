// SPDX-License-Identifier: MIT
//
// Fuzz target: the texts that the client library reads. The input is a netstring that grows, a
// table, the text of a query and a key, each as it stands.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ConfigKey.h"
#include "platform/Netstring.h"
#include "platform/RegExp.h"
#include "platform/StringTable.h"
#include "tests/fuzz/FuzzTarget.h"
#include "values/WGLEscaper.h"

namespace {

using Config::Key::Key;
using Config::Key::Split;

std::string InNetstring(std::string_view bytes) {
  std::string text;
  Netstring::Append(text, bytes);
  return text;
}

// A netstring as it comes, byte by byte.
void CheckNetstring(std::string_view text) {
  using Netstring::Status;
  for (std::size_t size = 0; size <= text.size(); ++size) {
    std::string_view left = text.substr(0, size);
    std::string_view bytes;
    const Netstring::Piece piece = Netstring::Read(left, std::string::npos);
    Check(piece.status != Status::kPartial || piece.size > size, "a part says what it lacks");
    const bool whole = Netstring::Take(left, bytes);
    Check(whole == (piece.status == Status::kWhole) && bytes == piece.bytes, "the whole is taken");
    if (!whole) continue;
    Check(InNetstring(bytes).append(left) == text.substr(0, size), "there is one way to write it");
    Check(Netstring::Read(text, bytes.size()).status == Status::kWhole, "a limit may be reached");
  }
}

void CheckTable(const std::string& text) {
  constexpr unsigned kMaxColumns = 65536;  // of a table without cells
  const StringTable table(text, StringTable::kSerialized);
  const bool framed = text.compare(0, 1, "\1") == 0;
  if (framed && table.Rows() == 0 && table.Columns() == 0) return;
  Check(table.Columns() <= kMaxColumns || table.Columns() <= text.size(), "columns are few");
  Check(table.Rows() <= text.size() + 1, "rows are few");
  const bool single = table.Rows() == 1 && table.Columns() == 1;
  // A frame around a cell that needs none is understood, and not written.
  Check(text == (framed && single ? "\0011:1:" + InNetstring(table.View(0, 0)) : table.Serialize()),
        "there is one way to write a table");
}

std::string WithoutSeparators(std::string text) {
  const auto separates = [](char byte) { return std::strchr(" \t\r\n;", byte) && byte != '\0'; };
  text.erase(std::remove_if(text.begin(), text.end(), separates), text.end());
  return text;
}

void CheckQuery(const std::string& text) {
  const StringTable table(text, StringTable::kQueryText);
  Check(table.Columns() == 1, "a query is one column of keys");
  std::string all;
  for (unsigned row = 0; row < table.Rows(); ++row) {
    const std::string key = table.Get(row, 0);
    const std::string spaced = "\n\t\r " + key + " \r\t\n;";
    const bool open = key.rfind('{') + 1 > key.rfind('}') + 1;
    Check(open || Split(spaced) == std::vector<std::string_view>{key}, "a key is one key");
    Check(!open || row + 1 == table.Rows(), "nothing separates in braces");
    all += key;
  }
  Check(WithoutSeparators(all) == WithoutSeparators(text), "nothing of a key is lost");
}

std::string Write(const Key& key) {
  std::string text = key.Path();
  char before = '{';
  for (const auto& selector : key.Selectors()) {
    text += before + selector.name + "=" + selector.value;
    before = ',';
  }
  if (!key.Selectors().empty()) text += '}';
  if (!key.Column().empty()) text += "." + key.Column();
  for (const auto& option : key.Options()) text += ":" + option.name + "=" + option.value;
  return text;
}

void CheckKey(std::string_view text) {
  const std::string name = "[A-Za-z0-9_-]+", pair = name + "=([^,}%]|%[0-9A-Fa-f]{2})*";
  static const RegExp grammar("^" + name + "([.]" + name + ")*([{]" + pair + "(," + pair +
                                  ")*[}]([.]" + name + ")?)?(:" + name + "=[^:]*)*$",
                              RegExp::kExtended);
  Key key("a{b=c}.d:e=f");
  Check(key.Parse(text) == grammar.Match(std::string(text)), "a key follows the grammar");
  Check(key.IsValid() || Write(key).empty(), "of a malformed key nothing is left");
  if (!key.IsValid()) return;
  Check(text.find('%') != text.npos || Write(key) == text, "its parts are those of the text");
}

// What a template writes with "htmlesc" into a selector stays in there.
void CheckSelector(const std::string& value) {
  const std::string text = "Table{Name=" + WGLEscaper("htmlesc").Escape(value) + "}.Column";
  Check(Split(text + ";Next") == std::vector<std::string_view>{text, "Next"}, "it adds no key");
  const Key key(text);
  Check(Write(key) == "Table{Name=" + value + "}.Column", "it arrives as it was");
  Check(key.Selectors().size() == 1, "and as one");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Ends where the memory ends: the sanitizer sees what is read behind it.
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckNetstring(text);
  CheckNetstring(InNetstring(text) + '9');
  CheckTable(std::string(text));
  CheckQuery(std::string(text));
  CheckKey(text);
  CheckSelector(std::string(text));
  return 0;
}
