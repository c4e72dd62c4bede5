// SPDX-License-Identifier: MIT
//
// A device maker's own client library, with a serialised form of its own and no system manager
// behind it: a query gives its keys and the asking service, a set refuses everything.
#include <cstdarg>

#include "platform/StringTable.h"
#include "platform/SysMgrProxy.h"

namespace {

constexpr char kSeparator = '|';

}  // namespace

StringTable::StringTable(const std::string& text, ConstructionType type) : columns_(1) {
  const char separator = type == kQuery ? ';' : kSeparator;
  std::string cell;
  for (char byte : text + separator) {
    if (byte != separator) {
      cell += byte;
    } else {
      cells_.push_back(cell);
      cell.clear();
    }
  }
}

void StringTable::AddRow(const char* first, ...) {
  va_list more;
  va_start(more, first);
  for (unsigned i = 0; i < columns_; ++i) cells_.push_back(i == 0 ? first : va_arg(more, char*));
  va_end(more);
}

std::string StringTable::Get(unsigned row, unsigned column) const {
  return row < Rows() && column < columns_ ? cells_[row * columns_ + column] : "";
}

unsigned StringTable::Rows() const {
  return columns_ == 0 ? 0 : static_cast<unsigned>(cells_.size()) / columns_;
}

std::string StringTable::Serialize() const {
  std::string text;
  for (const std::string& cell : cells_) text += (&cell != &cells_[0] ? "|" : "") + cell;
  return text;
}

SysMgrProxy::SysMgrProxy(const std::string& name, SvcMgrInterface& service, const std::string&)
    : name_(name), service_(service) {}

int SysMgrProxy::sQueryKey(const std::string& client, const std::string& query,
                           const std::string& option, std::string& reply) {
  reply = query + "|" + name_ + "|" + client + "|" + option + "|" +
          std::to_string(service_.start(nullptr)) + std::to_string(service_.stop());
  return query == "fail" ? 1 : 0;
}

int SysMgrProxy::sSetKey(const std::string&, const std::string& keys, const std::string& values,
                         std::string& reply) {
  reply = "no " + keys + "=" + values;
  return 0;
}
