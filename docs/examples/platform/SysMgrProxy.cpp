// SPDX-License-Identifier: MIT
//
// A client library whose device is a few values in this file. A real one asks its own service here.
#include "platform/SysMgrProxy.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <vector>

#include "platform/StringTable.h"
#include "platform/StringVector.h"

namespace {

constexpr int kDone = 0, kRefused = 1, kUnreachable = -1;
constexpr unsigned kCarriers = 1155;

struct Station {
  const char *address, *role, *name;
};
constexpr Station kStations[] = {{"00:00:5E:00:53:01", "local", "Attic"},
                                 {"00:00:5E:00:53:02", "peer", "Cellar & garage"},
                                 {"00:00:5E:00:53:03", "peer", "Kitchen"}};

// The value of a selector in a key, such as peer in Stations{Role=peer,Up=1}; the empty text
// without one.
std::string Selector(const std::string& key, const std::string& name) {
  const std::string::size_type open = key.find('{');
  const std::string::size_type close = key.rfind('}');
  if (open == std::string::npos || close == std::string::npos) return "";
  for (const std::string& part : StringVector(',', key.substr(open + 1, close - open - 1))) {
    if (part.compare(0, name.size() + 1, name + "=") == 0) return part.substr(name.size() + 1);
  }
  return "";
}

bool IsStation(const std::string& address) {
  for (const Station& station : kStations) {
    if (address == station.address) return true;
  }
  return false;
}

// A chart's file: doubles in the machine's own order of bytes. The page program reads it and
// removes it.
std::string SnrFile() {
  char path[] = "/tmp/snr-XXXXXX";
  const int file = mkstemp(path);
  if (file < 0) return "";
  std::vector<double> decibels(kCarriers);
  for (unsigned carrier = 0; carrier < kCarriers; ++carrier) decibels[carrier] = carrier * 0.02;
  const size_t size = decibels.size() * sizeof decibels[0];
  const bool isWhole = write(file, decibels.data(), size) == static_cast<ssize_t>(size);
  close(file);
  return isWhole ? path : "";
}

}  // namespace

StringTable::StringTable(const std::string& text, ConstructionType type) {
  if (type == kQuery) {
    for (const std::string& key : StringVector(';', text)) rows_.push_back({key});
    return;
  }
  for (const std::string& row : StringVector('\n', text)) {
    rows_.push_back(StringVector('\t', row + '\t'));
    columns_ = static_cast<unsigned>(rows_.back().size());
  }
}

void StringTable::AddRow(const char* cell, ...) {
  std::vector<std::string> cells;
  va_list more;
  va_start(more, cell);
  for (; cells.size() < columns_;
       cell = cells.size() < columns_ ? va_arg(more, const char*) : nullptr) {
    cells.push_back(cell);
  }
  va_end(more);
  rows_.push_back(cells);
}

void StringTable::AddRow(const std::vector<std::string>& cells) {
  rows_.push_back(cells);
}

std::string StringTable::Get(unsigned row, unsigned column) const {
  return row < rows_.size() && column < rows_[row].size() ? rows_[row][column] : "";
}

std::string StringTable::Serialize() const {
  std::string text;
  for (const std::vector<std::string>& row : rows_) {
    for (const std::string& cell : row) text += (&cell == &row[0] ? "" : "\t") + cell;
    text += '\n';
  }
  return text;
}

SysMgrProxy::SysMgrProxy(const std::string& name, SvcMgrAdapter& service,
                         const std::string& authFile)
    : name_(name), service_(service), authFile_(authFile) {}

int SysMgrProxy::sQueryKey(const std::string& client, const std::string& query,
                           const std::string& option, std::string& reply) {
  const std::string key = StringTable(query, StringTable::kReply).Get(0, 0);
  const std::string what = key.substr(0, key.find_first_of("{:"));
  StringTable answer;
  if (what == "System.ProductName") {
    answer.AddRow({"The \"example\""});
  } else if (what == "Stations") {
    for (const Station& station : kStations) {
      const std::string role = Selector(key, "Role");
      if (role.empty() || role == station.role) answer.AddRow({station.address, station.name});
    }
  } else if (what == "HomePlug.SNR" && IsStation(Selector(key, "MacAddress"))) {
    answer.AddRow({SnrFile()});
  } else if (what == "Example.Caller") {
    answer.AddRow({name_, client, option, std::to_string(service_.start(nullptr)),
                   std::to_string(service_.stop())});
  } else {
    reply = "There is no such value.";
    return what == "Example.Unreachable" ? kUnreachable : kRefused;
  }
  reply = answer.Serialize();
  return kDone;
}

int SysMgrProxy::sSetKey(const std::string&, const std::string& keys, const std::string& values,
                         std::string& reply) {
  const StringTable names(keys, StringTable::kReply);
  const StringTable texts(values, StringTable::kReply);
  StringTable problems;
  for (unsigned row = 0; row < names.Rows(); ++row) {
    problems.AddRow({"'" + names.Get(row, 0) + "' can't become '" + texts.Get(row, 0) + "'."});
  }
  reply = problems.Serialize();
  return kDone;
}
