// SPDX-License-Identifier: MIT
// A device maker's own library, all of it in one header; it has no more than the program needs.
#pragma once

#include <string>
#include <vector>

// Marks what it was given.
struct StringEscaper {
  StringEscaper(std::string, char) {}
  std::string Escape(const std::string& text) const { return "escaped:" + text; }
};

// Holds the text whole, whatever the separator.
struct StringVector : std::vector<std::string> {
  StringVector(const char&, const std::string& text) : std::vector<std::string>{text} {}
};

// Has one column; serialised, "|" separates its cells.
class StringTable {
 public:
  enum ConstructionType { kReply, kQuery };
  explicit StringTable(unsigned columns = 0) : columns_(columns) {}
  StringTable(const std::string& text, ConstructionType type) : columns_(1), cells_(1) {
    for (const char byte : text) {
      if (byte == (type == kQuery ? ';' : '|')) {
        cells_.emplace_back();
      } else {
        cells_.back() += byte;
      }
    }
  }
  void AddRow(const char* cell, ...) { cells_.push_back(cell); }
  std::string Get(unsigned row, unsigned) const { return row < Rows() ? cells_[row] : ""; }
  unsigned Rows() const { return static_cast<unsigned>(cells_.size()); }
  unsigned Columns() const { return columns_; }
  std::string Serialize() const {
    std::string text;
    for (const std::string& cell : cells_) text += (text.empty() ? "" : "|") + cell;
    return text;
  }

 private:
  unsigned columns_;
  std::vector<std::string> cells_;
};

namespace Config {
class Tree;
}

struct SvcMgrAdapter {
  virtual int start(Config::Tree*) { return 1; }
  virtual int stop() { return 1; }
  virtual ~SvcMgrAdapter() = default;
};

// A query gives its keys and the asking service, a set refuses everything.
struct SysMgrProxy {
  SysMgrProxy(std::string name, SvcMgrAdapter& service, const std::string&);
  int sQueryKey(const std::string& client, const std::string& query, const std::string& option,
                std::string& reply);
  int sSetKey(const std::string&, const std::string& keys, const std::string& values,
              std::string& reply);
  std::string name;
  SvcMgrAdapter& service;
};
