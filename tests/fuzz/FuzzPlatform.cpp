// SPDX-License-Identifier: MIT
//
// Fuzz target: the texts that the client library reads. The whole input is read as a table, as the
// text of a query, as a key, as a number and as a netstring.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/ConfigKey.h"
#include "platform/Netstring.h"
#include "platform/RegExp.h"
#include "platform/StringTable.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

using Config::Key::Key;

void CheckTable(const std::string& text) {
  constexpr unsigned kMaxColumns = 65536;  // the limit for a table without cells
  const StringTable table(text, StringTable::kSerialized);
  const bool framed = text.compare(0, 1, "\1") == 0;
  if (framed && table.Rows() == 0 && table.Columns() == 0) return;
  Check(table.Columns() <= kMaxColumns || table.Columns() <= text.size(), "columns are few");
  Check(table.Rows() <= text.size() + 1, "rows are few");
  std::string written = table.Serialize();
  if (framed && table.Rows() == 1 && table.Columns() == 1) {
    // A frame around a cell that needs none is read, but never written.
    const std::string cell = table.Get(0, 0);
    written = "\0011:1:" + std::to_string(cell.size()) + ":" + cell + ",";
  }
  Check(text == written, "there is one way to write a table");
}

// Compares with another way to find the parts of a query.
void CheckQuery(const std::string& text) {
  constexpr char kBlanks[] = " \t\r\n";
  const StringTable table(text, StringTable::kQueryText);
  unsigned rows = 0;
  for (std::size_t at = 0, end = 0; at <= text.size(); at = ++end) {
    while (end < text.size() && text[end] != ';') {
      end = text[end] == '{' ? std::min(text.find('}', end), text.size()) : end + 1;
    }
    const std::string part = text.substr(at, end - at);
    const std::size_t begin = part.find_first_not_of(kBlanks);
    if (begin == part.npos) continue;
    const std::string key = part.substr(begin, part.find_last_not_of(kBlanks) + 1 - begin);
    Check(table.Get(rows++, 0) == key, "each key is a row");
  }
  Check(table.Rows() == rows && table.Columns() == 1, "a row is a key");
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

void CheckNumber(std::string_view text) {
  const auto value = std::strtoull(std::string(text).c_str(), nullptr, 10);
  const std::string written = std::to_string(value) + ":";
  const bool isNumber = value <= UINT_MAX && text.substr(0, written.size()) == written;
  unsigned number = 0;
  Check(Netstring::TakeNumber(text, number) == isNumber, "a number is written in one way");
  Check(!isNumber || number == value, "and read as what it is");
}

// Compares the two readers of netstrings: one for complete texts, one for texts that still arrive.
void CheckNetstring(std::string_view text) {
  const Netstring::Piece piece = Netstring::Read(text, std::string::npos);
  const bool whole = piece.status == Netstring::Status::kWhole;
  std::string_view left = text;
  std::string_view bytes;
  Check(Netstring::Take(left, bytes) == whole && bytes == piece.bytes, "both readers agree");
  Check(left == text.substr(whole ? piece.size : 0), "and take the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CheckTable(std::string(data, data + size));
  CheckQuery(std::string(data, data + size));
  // These end where the memory ends, so that the sanitizer sees a read beyond it.
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckKey(text);
  CheckNumber(text);
  CheckNetstring(text);
  return 0;
}
