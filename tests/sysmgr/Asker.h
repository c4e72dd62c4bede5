// SPDX-License-Identifier: MIT
//
// Questions and batches as one line each, whoever answers them. Answers are one line too: rows with
// "/" between them, cells with "|"; or why there is none, in brackets.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "platform/StringTable.h"
#include "tests/sysmgr/Tables.h"

inline std::string TableText(const StringTable& table) {
  std::string text;
  for (unsigned row = 0; row < table.Rows(); ++row) {
    for (unsigned column = 0; column < table.Columns(); ++column) {
      text.append(column > 0 ? "|" : row > 0 ? "/" : "").append(table.View(row, column));
    }
  }
  return text;
}

class Asker {
 public:
  virtual ~Asker() = default;

  std::string Get(const std::string& query) {
    return Query(StringTable(query, StringTable::kQueryText));
  }

  // "key=value|key=value"
  std::string Set(const std::string& batch) {
    StringTable keys(1);
    StringTable values(1);
    for (const std::string& setting : StringVector('|', batch)) {
      std::size_t equals = setting.find('=');
      if (setting.find('{') < equals) equals = setting.find('=', setting.find('}'));
      keys.AddCells({setting.substr(0, equals)});
      values.AddCells({setting.substr(equals + 1)});
    }
    return Store(keys, values);
  }

  // Rows of a question, or of "set " and a batch, and the answer.
  void Expect(const std::string& rows) {
    for (const auto& row : Rows(rows)) {
      const bool isSet = row[0].rfind("set ", 0) == 0;
      EXPECT_EQ(isSet ? Set(row[0].substr(4)) : Get(row[0]), row.at(1)) << row[0];
    }
  }

 private:
  virtual std::string Query(const StringTable& keys) = 0;
  virtual std::string Store(const StringTable& keys, const StringTable& values) = 0;
};
