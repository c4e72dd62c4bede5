// SPDX-License-Identifier: MIT
//
// The tables that travel between the program and the system manager, netstrings, lists and keys.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Characters.h"
#include "platform/ConfigKey.h"
#include "platform/Netstring.h"
#include "platform/StringTable.h"
#include "platform/StringVector.h"

using namespace std::string_literals;

namespace {

using Cells = std::vector<std::string>;

StringTable Read(const std::string& text) {
  return StringTable(text, StringTable::kSerialized);
}

StringTable ReadFrame(const std::string& frame) {
  return Read("\x01" + frame);
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

// A key's parts; "" of a malformed key, of which nothing may be left.
std::string PartsOf(const Config::Key::Key& key) {
  std::string parts = key.Path();
  for (const auto& selector : key.Selectors()) {
    parts += "{" + selector.name + "|" + selector.value + "}";
  }
  if (!key.Column().empty()) parts += "." + key.Column();
  for (const auto& option : key.Options()) parts += "[" + option.name + "|" + option.value + "]";
  return parts;
}

// The size and the bytes; the size at least needed, "+" behind it; or "" for what is malformed.
std::string ReadNetstring(std::string_view text, std::size_t maxBytes) {
  const Netstring::Piece piece = Netstring::Read(text, maxBytes);
  if (piece.status == Netstring::Status::kMalformed) return "";
  const std::string size = std::to_string(piece.size);
  return piece.status == Netstring::Status::kPartial ? size + "+"
                                                     : size + " " + std::string(piece.bytes);
}

}  // namespace

TEST(StringTable, SerializedForm) {
  const struct {
    std::vector<Cells> rows;
    std::string frame;  // without its first byte; or a text that needs no frame
    unsigned columns;
    bool framed = true;
  } cases[] = {
      {{}, "0:0:", 0},
      {{}, "2:0:", 2},
      {{{}, {}}, "0:2:", 0},
      {{{""}}, "", 1, false},
      {{{AllBytes()}}, AllBytes(), 1, false},
      {{{"\x01"}}, "1:1:1:\x01,", 1},
      {{{"a", "b"}, {"c", ""}}, "2:2:1:a,1:b,1:c,0:,", 2},
      {{{"", ""}}, "2:1:0:,0:,", 2},
      {{{""}, {"ab"}}, "1:2:0:,2:ab,", 1},
      {{{""}, {AllBytes()}}, "1:2:0:,256:" + AllBytes() + ",", 1},
  };
  for (const auto& row : cases) {
    StringTable table(row.columns);
    Cells expected;
    for (const Cells& cells : row.rows) {
      table.AddCells(std::vector<std::string_view>(cells.begin(), cells.end()));
      expected.insert(expected.end(), cells.begin(), cells.end());
    }
    const std::string text = (row.framed ? "\x01" : "") + row.frame;
    EXPECT_EQ(table.Serialize(), text);
    const StringTable again = Read(text);
    EXPECT_EQ(again.Rows(), row.rows.size()) << text;
    EXPECT_EQ(again.Columns(), row.columns) << text;
    EXPECT_EQ(CellsOf(again), expected) << text;
  }
}

TEST(StringTable, CellsThatAreNotThereAreEmpty) {
  StringTable table(2);
  table.AddRow("a", "b");
  table.AddRow(static_cast<const char*>(nullptr), static_cast<const char*>(nullptr));
  table.AddCells({"c"});
  table.AddCells({"d", "e", "beyond"});
  EXPECT_EQ(CellsOf(table), Cells({"a", "b", "", "", "c", "", "d", "e"}));
  for (const auto& [row, column] :
       {std::pair(0U, 2U), {4U, 0U}, {~0U, 0U}, {0U, ~0U}, {~0U, ~0U}}) {
    EXPECT_EQ(table.Get(row, column), "") << row << " " << column;
  }
  StringTable moved = std::move(table);
  EXPECT_EQ(table.Get(0, 0), "");  // NOLINT: that it is safe is the point
  EXPECT_EQ(moved.Get(0, 1), "b");
}

// Whatever a text claims, it costs no more memory than it is long: the sanitizer would object.
TEST(StringTable, WhatIsNoFrameIsNoTable) {
  const std::string large(100, '1');
  StringVector frames(
      ' ',
      " 1 1: 1:1 1:1: 1:1:1:a 1:1:1:a; 1:1:1:a,x 1:1:2:a, 1:1:0:a, 01:1:1:a, 1:01:1:a, 1:1:01:a, "
      "+1:1:1:a, \t1:1:1:a, 1:1:\t1:a, 1:-1:1:a, 2:1:1:a, 1:2:1:a, :1:1:a, 1:1::a, 0:0:0:, "
      "4294967297:1:1:a, 1:4294967297:1:a, 4294967295:4294967295:1:a, 65536:65536:1:a, 65537:0: "
      "4294967295:0: 0:4294967295: 4294967295:1:1:a, 1:4294967295:1:a, 1:1:4294967297:a, "
      "1:1:18446744073709551617:a,");
  const std::string whole = "2:2:1:a,0:,12:\x01,1:1:1:b,:,,3:,:,,";
  for (std::size_t size = 0; size < whole.size(); ++size) frames.push_back(whole.substr(0, size));
  frames.push_back("1:1:" + large + ":a,");
  frames.push_back(large + ":1:1:a,");
  frames.push_back("1:" + large + ":1:a,");
  for (const std::string& frame : frames) {
    const StringTable table = ReadFrame(frame);
    EXPECT_EQ(table.Rows() + table.Columns(), 0U) << frame;
  }
  EXPECT_EQ(ReadFrame(whole).Get(1, 0), "\x01,1:1:1:b,:,");
  // A table without cells has few rows or columns all the same: whoever counts them comes to an
  // end.
  EXPECT_EQ(ReadFrame("65536:0:").Columns(), 65536U);
  EXPECT_EQ(ReadFrame("0:5:").Rows(), 5U);
}

TEST(StringTable, QueryTextIsSplitIntoKeys) {
  const std::pair<std::string, Cells> rows[] = {
      {"", {}},
      {" ;\t;\r\n;", {}},
      {"\n a.b ;\r\n c \t;d", {"a.b", "c", "d"}},
      {"a{x=1;y}.z;b", {"a{x=1;y}.z", "b"}},
      {"a{x={;}.z;b", {"a{x={;}.z", "b"}},
      {"a{x=1;b", {"a{x=1;b"}},
      {"a};b c;d", {"a}", "b c", "d"}},
      {"a\0b;\x01;\v;\xA0"s, {"a\0b"s, "\x01", "\v", "\xA0"}},
  };
  for (const auto& [text, keys] : rows) {
    const StringTable table(text, StringTable::kQueryText);
    EXPECT_EQ(table.Columns(), 1U) << text;
    EXPECT_EQ(CellsOf(table), keys) << text;
    EXPECT_EQ(CellsOf(Read(table.Serialize())), keys) << text;
  }
}

TEST(Key, Parts) {
  const std::pair<std::string, std::string> rows[] = {
      {"a", "a"},
      {"A-1_.b9.-", "A-1_.b9.-"},
      {"t:a=1", "t[a|1]"},
      {"Plug.SNR{Mac=00:0B:3B:7F:01:02}:format=scalar",
       "Plug.SNR{Mac|00:0B:3B:7F:01:02}[format|scalar]"},
      {"t{a=1,b=2,a=}.c:x=1:y=:x=a=b{;", "t{a|1}{b|2}{a|}.c[x|1][y|][x|a=b{;]"},
      {"t{n=%2C%7d%00%25.{;: =\xFF}", "t{n|,}\0%.{;: =\xFF}"s},
  };
  for (const auto& [text, parts] : rows) {
    Config::Key::Key key("junk{a=1}.b:c=d");
    EXPECT_TRUE(key.Parse(text) && key.IsValid()) << text;
    EXPECT_EQ(PartsOf(key), parts);
  }
  StringVector malformed(
      '|',
      "|.|.a|a.|a..b| a|a |a;b|a{}|a{|a{b|a{b=1|a{b}|a{=1}|a{b=1,}|a{,b=1}|a{b=1}x|a{b=1}.|"
      "a{b=1}.c.d|a{b=1}{c=2}|a.b{c=%}|a{b=%4}|a{b=%4g}|a{b=%g4}|a{b=%%41}|a:|a:b|a:=1|a:b=1:|"
      "{a=1}|a}|\xC3\xA4|a/b|a{b c=1}");
  malformed.push_back("a\0"s);
  for (const std::string& text : malformed) {
    Config::Key::Key key("a{b=1}.c:d=e");
    EXPECT_FALSE(key.Parse(text) || key.IsValid()) << text;
    EXPECT_EQ(PartsOf(key), "") << text;
  }
  EXPECT_EQ(*Config::Key::Key("t:a=1:b=2:a=3").Option("a"), "1");
  EXPECT_EQ(Config::Key::Key("t:ab=1").Option("a"), nullptr);
}

TEST(Key, MacAddressesMatchInEitherCase) {
  EXPECT_TRUE(EqualIgnoringCase("00:0b:3B:7f:aA:Ff", "00:0B:3b:7F:Aa:fF"));
  EXPECT_FALSE(EqualIgnoringCase("00:0B:3B:7F:01:02", "00:0B:3B:7F:01:03"));
  EXPECT_FALSE(EqualIgnoringCase("00:0B:3B:7F:01:02", "00:0B:3B:7F:01:0"));
  EXPECT_FALSE(EqualIgnoringCase("[", "{")) << "letters only";
}

TEST(Netstring, Read) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "1+"},          {"1", "2+"},   {"0", "2+"},          {"3:", "6+"},  {"3:abc", "6+"},
      {"3:abc,", "6 abc"}, {"9:", "12+"}, {"3:abc,4", "6 abc"}, {"0:,", "3 "}, {"3:abcd", ""},
      {"10", ""},          {"00", ""},    {"01", ""},           {":", ""},     {"-1:", ""},
      {"a", ""},           {"1 :a,", ""}};
  for (const auto& [text, expected] : rows) EXPECT_EQ(ReadNetstring(text, 9), expected) << text;
  EXPECT_EQ(ReadNetstring("0:,", 0), "3 ");
  EXPECT_EQ(ReadNetstring("4294967295", ~std::size_t{0}), "11+");
  EXPECT_EQ(ReadNetstring("4294967296", ~std::size_t{0}), "");
  EXPECT_EQ(ReadNetstring("18446744073709551617:", ~std::size_t{0}), "");
}

TEST(StringVector, SplitsAndJoins) {
  const std::pair<std::string, Cells> rows[] = {
      {"", {}},        {"a", {"a"}},      {"1,2,,3,", {"1", "2", "", "3", ""}},
      {",", {"", ""}}, {",a", {"", "a"}}, {"a\0,b"s, {"a\0"s, "b"}}};
  for (const auto& [text, pieces] : rows) {
    const StringVector vector(',', text);
    EXPECT_EQ(Cells(vector.begin(), vector.end()), pieces) << text;
    EXPECT_EQ(vector.Join(","), text);
  }
}
