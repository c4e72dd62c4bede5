// SPDX-License-Identifier: MIT
//
// The tables that travel between the program and the system manager, netstrings, lists and keys.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ConfigKey.h"
#include "platform/Netstring.h"
#include "platform/StringTable.h"
#include "platform/StringVector.h"

using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

using Cells = std::vector<std::string>;

StringTable Read(const std::string& text) {
  return StringTable(text, StringTable::kSerialized);
}

Cells CellsOf(const StringTable& table) {
  Cells cells;
  for (unsigned row = 0; row < table.Rows(); ++row) {
    for (unsigned column = 0; column < table.Columns(); ++column) {
      cells.push_back(table.Get(row, column));
    }
  }
  return cells;
}

std::string AllBytes() {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  return all;
}

// A table of every kind of cell.
StringTable Typical() {
  StringTable table(3);
  const std::string all = AllBytes();
  table.AddCells({"a", "", all});
  table.AddCells({"\x01", ":,", "12:x,"});
  return table;
}

// The largest block of memory that was asked for.
std::atomic<std::size_t> gLargestBlock;

}  // namespace

void* operator new(std::size_t size) {
  gLargestBlock = std::max(gLargestBlock.load(), size);
  void* block = std::malloc(size);
  if (block == nullptr) std::abort();
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

TEST(StringTable, SerializedForm) {
  const struct {
    const char* what;
    unsigned columns;
    std::vector<Cells> rows;
    std::string text;
  } cases[] = {
      {"no rows, no columns",
       0,
       {},
       "\x01"
       "0:0:"},
      {"no rows",
       2,
       {},
       "\x01"
       "2:0:"},
      {"one empty cell", 1, {{""}}, ""},
      {"one cell", 1, {{"Vistel <1>\n"}}, "Vistel <1>\n"},
      {"one cell that looks like a frame",
       1,
       {{"\x01"
         "1:1:1:a,"}},
       "\x01"
       "1:1:9:\x01"
       "1:1:1:a,,"},
      {"two of two",
       2,
       {{"a", "b"}, {"c", ""}},
       "\x01"
       "2:2:1:a,1:b,1:c,0:,"},
      {"one row of two",
       2,
       {{"", ""}},
       "\x01"
       "2:1:0:,0:,"},
      {"two rows of one",
       1,
       {{""}, {"ab"}},
       "\x01"
       "1:2:0:,2:ab,"},
      {"rows without columns",
       0,
       {{}, {}},
       "\x01"
       "0:2:"},
  };
  for (const auto& row : cases) {
    StringTable table(row.columns);
    Cells expected;
    for (const Cells& cells : row.rows) {
      table.AddCells(std::vector<std::string_view>(cells.begin(), cells.end()));
      expected.insert(expected.end(), cells.begin(), cells.end());
    }
    EXPECT_EQ(table.Serialize(), row.text) << row.what;
    const StringTable again = Read(row.text);
    EXPECT_EQ(again.Rows(), row.rows.size()) << row.what;
    EXPECT_EQ(again.Columns(), row.columns) << row.what;
    EXPECT_EQ(CellsOf(again), expected) << row.what;
    EXPECT_EQ(again.Serialize(), row.text) << row.what;
  }
  EXPECT_EQ(StringTable().Serialize(),
            "\x01"
            "0:0:");
  EXPECT_EQ(CellsOf(Read(Typical().Serialize())), CellsOf(Typical()));
  EXPECT_EQ(Read(AllBytes()).Get(0, 0), AllBytes());
}

TEST(StringTable, CellsThatAreNotThereAreEmpty) {
  StringTable table(2);
  table.AddRow("a", "b");
  table.AddRow(static_cast<const char*>(nullptr), static_cast<const char*>(nullptr));
  table.AddCells({"c"});
  table.AddCells({"d", "e", "beyond"});
  EXPECT_EQ(CellsOf(table), Cells({"a", "b", "", "", "c", "", "d", "e"}));
  constexpr unsigned kHuge = ~0U;
  for (const auto& [row, column] : std::vector<std::pair<unsigned, unsigned>>{
           {0, 2}, {4, 0}, {kHuge, 0}, {0, kHuge}, {kHuge, kHuge}, {1, 1}}) {
    EXPECT_EQ(table.Get(row, column), "") << row << " " << column;
  }
  StringTable moved = std::move(table);
  EXPECT_EQ(table.Get(0, 0), "");  // NOLINT: that it is safe is the point
  EXPECT_EQ(moved.Get(0, 1), "b");
  EXPECT_EQ(StringTable().Get(0, 0), "");
}

TEST(StringTable, WhatIsNoFrameIsNoTable) {
  const std::string frames[] = {
      "",
      "1",
      "1:",
      "1:1",
      "1:1:",
      "1:1:1:a",
      "1:1:1:a;",
      "1:1:1:a,x",
      "1:1:2:a,",
      "1:1:0:a,",
      "01:1:1:a,",
      "1:01:1:a,",
      "1:1:01:a,",
      "+1:1:1:a,",
      " 1:1:1:a,",
      "1:1: 1:a,",
      "1:-1:1:a,",
      "2:1:1:a,",
      "1:2:1:a,",
      ":1:1:a,",
      "1:1::a,",
      "0:0:0:,",
      "4294967296:1:1:a,",
      "1:4294967296:1:a,",
      "4294967295:4294967295:1:a,",
      "65536:65536:1:a,",
      "65537:0:",
      "4294967295:0:",
      "0:4294967295:",
      "4294967295:1:1:a,",
      "1:1:4294967295:a,",
      "1:1:4294967296:a,",
      "1:1:18446744073709551617:a,",
      "1:1:" + std::string(100, '9') + ":a,",
      std::string(100, '1') + ":1:1:a,",
      "1:" + std::string(100, '1') + ":1:a,",
      "1:1:" + std::string(100, '0') + "1:a,",
  };
  for (const std::string& frame : frames) {
    const StringTable table = Read("\x01" + frame);
    EXPECT_EQ(table.Rows(), 0U) << frame;
    EXPECT_EQ(table.Columns(), 0U) << frame;
  }
  // A table without cells has few rows or columns all the same: whoever counts them comes to an
  // end.
  EXPECT_EQ(Read("\x01" + std::string("65536:0:")).Columns(), 65536U);
  EXPECT_EQ(Read("\x01" + std::string("0:5:")).Rows(), 5U);
}

// Cut anywhere or changed in any byte: nothing, or a table that says what the text says.
TEST(StringTable, DamagedFrames) {
  const std::string whole = Typical().Serialize();
  for (std::size_t size = 1; size < whole.size(); ++size) {
    EXPECT_EQ(Read(whole.substr(0, size)).Columns(), 0U) << size;
  }
  unsigned tables = 0;
  for (std::size_t i = 0; i < whole.size(); ++i) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = whole;
      changed[i] = static_cast<char>(byte);
      const StringTable table = Read(changed);
      if (table.Columns() == 0) continue;
      ++tables;
      ASSERT_EQ(table.Serialize(), changed) << i << " " << byte;
    }
  }
  EXPECT_GT(tables, 256U * 255U) << "changes inside a cell leave a table";
}

// Lying counts and lengths cost no more than the text is long, not even for a moment.
TEST(StringTable, MemoryIsBoundedByTheText) {
  const std::string frames[] = {
      "1:4294967295:" + std::string(3000, ':'), "1:2900:" + std::string(3000, '1'),
      "2900:1:" + std::string(3000, '1'),       "1:1:4294967295:" + std::string(3000, 'a'),
      "4294967295:0:" + std::string(3000, 'a'), "0:4294967295:",
  };
  for (const std::string& frame : frames) {
    const std::string text = "\x01" + frame;
    gLargestBlock = 0;
    const StringTable table = Read(text);
    EXPECT_LE(gLargestBlock, 3 * text.size() + 64) << frame.substr(0, 20);
  }
  StringTable large(1);
  for (int i = 0; i < 100000; ++i) large.AddRow("");
  EXPECT_EQ(Read(large.Serialize()).Rows(), 100000U);
}

TEST(StringTable, QueryTextIsSplitIntoKeys) {
  const std::pair<std::string, Cells> rows[] = {
      {"", {}},
      {" ;\t;\r\n;", {}},
      {"System.ProductName", {"System.ProductName"}},
      {"\n a.b ;\r\n c \t;d", {"a.b", "c", "d"}},
      {"a{x=1;y}.z;b", {"a{x=1;y}.z", "b"}},
      {"a{x={;}.z;b", {"a{x={;}.z", "b"}},
      {"a{x=1;b", {"a{x=1;b"}},
      {"a};b", {"a}", "b"}},
      {"a b;c", {"a b", "c"}},
      {"a\0b;\x01"s, {"a\0b"s, "\x01"}},
      {"\v;\xA0", {"\v", "\xA0"}},
  };
  for (const auto& [text, keys] : rows) {
    const StringTable table(text, StringTable::kQueryText);
    EXPECT_EQ(table.Columns(), 1U) << text;
    EXPECT_EQ(CellsOf(table), keys) << text;
    EXPECT_EQ(CellsOf(Read(table.Serialize())), keys) << text;
  }
}

TEST(Key, Parts) {
  using Config::Key::Key;
  const struct {
    std::string text, path;
    std::vector<std::pair<std::string, std::string>> selectors;
    std::string column;
    std::vector<std::pair<std::string, std::string>> options;
  } rows[] = {
      {"a", "a", {}, "", {}},
      {"A-1_.b9.-", "A-1_.b9.-", {}, "", {}},
      {"HomePlug.Stations{Role=remote}.MacAddress",
       "HomePlug.Stations",
       {{"Role", "remote"}},
       "MacAddress",
       {}},
      {"HomePlug.SNR{MacAddress=00:0B:3B:7F:01:02}:format=scalar",
       "HomePlug.SNR",
       {{"MacAddress", "00:0B:3B:7F:01:02"}},
       "",
       {{"format", "scalar"}}},
      {"t{a=1,b=2,a=}.c:x=1:y=:x=a=b{;",
       "t",
       {{"a", "1"}, {"b", "2"}, {"a", ""}},
       "c",
       {{"x", "1"}, {"y", ""}, {"x", "a=b{;"}}},
      {"t{n=%2C%7d%00%25.{;: =\xFF}", "t", {{"n", ",}\0%.{;: =\xFF"s}}, "", {}},
      {"t:a=1", "t", {}, "", {{"a", "1"}}},
  };
  for (const auto& row : rows) {
    Key key("junk{a=1}.b:c=d");
    ASSERT_TRUE(key.Parse(row.text)) << row.text;
    EXPECT_TRUE(key.IsValid());
    EXPECT_EQ(key.Path(), row.path) << row.text;
    EXPECT_EQ(key.Column(), row.column) << row.text;
    ASSERT_EQ(key.Selectors().size(), row.selectors.size()) << row.text;
    for (std::size_t i = 0; i < row.selectors.size(); ++i) {
      EXPECT_EQ(key.Selectors()[i].name, row.selectors[i].first) << row.text;
      EXPECT_EQ(key.Selectors()[i].value, row.selectors[i].second) << row.text;
    }
    ASSERT_EQ(key.Options().size(), row.options.size()) << row.text;
    for (std::size_t i = 0; i < row.options.size(); ++i) {
      EXPECT_EQ(key.Options()[i].name, row.options[i].first) << row.text;
      EXPECT_EQ(key.Options()[i].value, row.options[i].second) << row.text;
    }
  }
  EXPECT_EQ(*Key("t:a=1:b=2:a=3").Option("a"), "1");
  EXPECT_EQ(Key("t:a=1").Option("A"), nullptr);
}

TEST(Key, Malformed) {
  for (const std::string text :
       {"",        ".",        ".a",       "a.",        "a..b",       " a",          "a ",
        "a;b",     "a{}",      "a{",       "a{b",       "a{b=1",      "a{b}",        "a{=1}",
        "a{b=1,}", "a{,b=1}",  "a{b=1}x",  "a{b=1}.",   "a{b=1}.c.d", "a{b=1}{c=2}", "a.b{c=%}",
        "a{b=%4}", "a{b=%4g}", "a{b=%g4}", "a{b=%%41}", "a:",         "a:b",         "a:=1",
        "a:b=1:",  "{a=1}",    "a}",       "\xC3\xA4",  "a/b",        "a{b c=1}"}) {
    Config::Key::Key key("a{b=1}.c:d=e");
    EXPECT_FALSE(key.Parse(text)) << text;
    EXPECT_FALSE(key.IsValid()) << text;
    EXPECT_TRUE(key.Selectors().empty() && key.Options().empty() && key.Column().empty()) << text;
  }
  EXPECT_FALSE(Config::Key::Key("a\0"s).IsValid());
}

TEST(Key, MacAddressesMatchInEitherCase) {
  using Config::Key::EqualMacAddresses;
  EXPECT_TRUE(EqualMacAddresses("00:0b:3B:7f:aA:Ff", "00:0B:3b:7F:Aa:fF"));
  EXPECT_FALSE(EqualMacAddresses("00:0B:3B:7F:01:02", "00:0B:3B:7F:01:03"));
  EXPECT_FALSE(EqualMacAddresses("00:0B:3B:7F:01:02", "00:0B:3B:7F:01:0"));
  EXPECT_FALSE(EqualMacAddresses("[", "{")) << "letters only";
}

TEST(Netstring, Read) {
  using Netstring::Status;
  const struct {
    std::string text;
    std::size_t maxBytes;
    Status status;
    std::string bytes;
    std::size_t size;
  } rows[] = {
      {"", 9, Status::kPartial, "", 1},
      {"1", 9, Status::kPartial, "", 2},
      {"0", 9, Status::kPartial, "", 2},
      {"3:", 9, Status::kPartial, "", 6},
      {"3:ab", 9, Status::kPartial, "", 6},
      {"3:abc", 9, Status::kPartial, "", 6},
      {"3:abc,", 9, Status::kWhole, "abc", 6},
      {"3:abc,4:", 9, Status::kWhole, "abc", 6},
      {"0:,", 0, Status::kWhole, "", 3},
      {"3:abcd", 9, Status::kMalformed, "", 0},
      {"9:", 9, Status::kPartial, "", 12},
      {"10", 9, Status::kMalformed, "", 0},
      {"10:", 9, Status::kMalformed, "", 0},
      {"00", 9, Status::kMalformed, "", 0},
      {"01", 9, Status::kMalformed, "", 0},
      {":", 9, Status::kMalformed, "", 0},
      {"-1:", 9, Status::kMalformed, "", 0},
      {"a", 9, Status::kMalformed, "", 0},
      {"1 :a,", 9, Status::kMalformed, "", 0},
      {"4294967295", ~std::size_t{0}, Status::kPartial, "", 11},
      {"4294967296", ~std::size_t{0}, Status::kMalformed, "", 0},
      {"18446744073709551617:", ~std::size_t{0}, Status::kMalformed, "", 0},
      {std::string(100, '1'), ~std::size_t{0}, Status::kMalformed, "", 0},
  };
  for (const auto& row : rows) {
    const Netstring::Piece piece = Netstring::Read(row.text, row.maxBytes);
    EXPECT_EQ(static_cast<int>(piece.status), static_cast<int>(row.status)) << row.text;
    EXPECT_EQ(piece.bytes, row.bytes) << row.text;
    EXPECT_EQ(piece.size, row.size) << row.text;
  }
}

TEST(Netstring, TakeIsReadOnAWholeText) {
  std::string text;
  for (const std::string& bytes : {""s, "a"s, ":,"s, AllBytes()}) Netstring::Append(text, bytes);
  for (std::size_t size = 0; size <= text.size(); ++size) {
    std::string_view left = std::string_view(text).substr(0, size);
    for (;;) {
      const Netstring::Piece piece = Netstring::Read(left, left.size());
      const std::string_view before = left;
      std::string_view bytes = "untouched";
      const bool taken = Netstring::Take(left, bytes);
      ASSERT_EQ(taken, piece.status == Netstring::Status::kWhole) << size;
      ASSERT_EQ(bytes, taken ? piece.bytes : "untouched"sv);
      ASSERT_EQ(left, before.substr(taken ? piece.size : 0));
      if (!taken) break;
    }
    EXPECT_EQ(left.empty(),
              size == 0 || size == 3 || size == 7 || size == 12 || size == text.size());
  }
}

TEST(StringVector, SplitsAndJoins) {
  const struct {
    std::string text;
    char separator;
    Cells pieces;
  } rows[] = {
      {"", ',', {}},
      {"a", ',', {"a"}},
      {"1,2,,3,", ',', {"1", "2", "", "3", ""}},
      {",", ',', {"", ""}},
      {"/etc/x", '/', {"", "etc", "x"}},
      {"a\0b"s, '\0', {"a", "b"}},
  };
  for (const auto& row : rows) {
    const StringVector vector(row.separator, row.text);
    EXPECT_EQ(Cells(vector.begin(), vector.end()), row.pieces) << row.text;
    EXPECT_EQ(vector.Join(std::string(1, row.separator)), row.text);
  }
}
