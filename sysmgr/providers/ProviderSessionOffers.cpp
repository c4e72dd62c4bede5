// SPDX-License-Identifier: MIT
//
// What a provider offers and pushes. An offer that does not fit the model is refused, and the
// provider stays; rows of another shape than those it offered end it.
#include "sysmgr/providers/ProviderSession.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "base/Utf8.h"
#include "sysmgr/log/Log.h"
#include "sysmgr/model/Check.h"

namespace {

using Fields = ProviderLink::Fields;

}  // namespace

bool ProviderSession::ReadNames(std::string_view text, std::vector<std::string>& names) {
  if (text.empty()) return true;
  const StringTable table = ReadTable(text);
  if (table.Columns() != 1 || table.Rows() > ProviderSession::kMaxNames) return false;
  for (unsigned row = 0; row < table.Rows(); ++row) {
    if (!IsName(table.View(row, 0))) return false;
    names.emplace_back(table.View(row, 0));
  }
  return true;
}

std::string ProviderSession::TakeOffer(const Fields& fields) {
  static constexpr std::pair<std::string_view, Kind> kKinds[] = {{"value", Kind::kValue},
                                                                 {"table", Kind::kTable},
                                                                 {"file", Kind::kFile},
                                                                 {"action", Kind::kAction}};
  const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                        [&](const auto& row) { return row.first == fields[1]; });
  if (kind == std::end(kKinds) || !IsName(fields[2])) return "it offers nonsense";
  Offer offer;
  offer.kind = kind->second;
  offer.isPushed = fields[3] == "pushed";
  const bool mayBePushed = offer.kind == Kind::kValue || offer.kind == Kind::kTable;
  const std::string_view asked = offer.kind == Kind::kAction ? "" : "asked";
  if (offer.isPushed ? !mayBePushed : fields[3] != asked) return "it offers nonsense";
  if (!ReadNames(fields[4], offer.names) || !ReadNames(fields[5], offer.options)) {
    return "it offers nonsense";
  }
  const std::string source(fields[2]);
  const std::string refusal = RefusalOf(source, offer);
  if (refusal.empty()) {
    Register(source, offer);
    offers_.emplace(source, std::move(offer));
  } else {
    Log::Write("provider '" + name_ + "' offers '" + source + "': " + refusal,
               Log::Priority::kWarning);
  }
  link_.Send({"offered", source, refusal});
  return "";
}

// "" when the offer can be accepted.
std::string ProviderSession::RefusalOf(const std::string& source, const Offer& offer) const {
  if (offers_.size() >= kMaxOffers) return "there are too many offers";
  if (world_.sources.Has(source)) return "this name is offered already";
  if (offer.isPushed && offer.kind == Kind::kValue && !offer.names.empty()) {
    return "a pushed value takes no selectors";
  }
  for (const ModelKey& key : world_.settings.Definitions().Keys()) {
    if (key.access == Access::kAction && key.action == source && offer.kind != Kind::kAction) {
      return "the model has an action of that name";
    }
    if (key.source != source) continue;
    if (offer.kind == Kind::kAction) return "the model has a source of that name";
    if ((key.type == ValueType::kTable) != (offer.kind == Kind::kTable)) {
      return key.type == ValueType::kTable ? "the model has it as a table"
                                           : "the model has it as a single value";
    }
    for (const ModelColumn& column : key.columns) {
      if (std::find(offer.names.begin(), offer.names.end(), column.name) == offer.names.end()) {
        return "it lacks the column " + column.name;
      }
    }
  }
  return "";
}

void ProviderSession::Register(const std::string& source, const Offer& offer) {
  const auto ask = [this, source](const Question& question, AnswerTaker taker) {
    Ask(source, question, std::move(taker));
  };
  const auto pushed = [this, source] { return offers_.at(source).rows; };
  switch (offer.kind) {
    case Kind::kAction:
      world_.sources.OfferAction(source,
                                 [this, source](const ActionRequest& request, OutcomeTaker taker) {
                                   Act(source, request, std::move(taker));
                                 });
      break;
    case Kind::kTable: {
      TableSource table;
      table.columns = offer.names;
      table.options = offer.options;
      if (offer.isPushed) {
        table.rows = [pushed](const Question&) { return pushed(); };
      } else {
        table.ask = ask;
      }
      world_.sources.OfferTable(source, std::move(table));
      break;
    }
    default: {
      ValueSource value;
      value.selectors = offer.names;
      value.options = offer.options;
      value.makesFile = offer.kind == Kind::kFile;
      if (offer.isPushed) {
        value.value = [pushed](const Question&) -> LiveValue {
          const LiveRows rows = pushed();
          if (rows == nullptr) return {"", Sentence::kNoValueYet};
          return {rows->front().front()};
        };
      } else {
        value.ask = ask;
      }
      world_.sources.OfferValue(source, std::move(value));
    }
  }
}

// False when the text is no table of the offer's shape, or a value that the model rules out.
bool ProviderSession::ReadRows(const Offer& offer, std::string_view text, LiveRows& rows,
                               std::size_t& bytes) const {
  const StringTable table = ReadTable(text);
  const bool isTable = offer.kind == Kind::kTable;
  if (table.Columns() != (isTable ? offer.names.size() : 1)) return false;
  if (!isTable && table.Rows() != 1) return false;
  auto made = std::make_shared<std::vector<LiveRow>>(table.Rows(), LiveRow(table.Columns()));
  for (unsigned row = 0; row < table.Rows(); ++row) {
    for (unsigned column = 0; column < table.Columns(); ++column) {
      std::string& cell = (*made)[row][column];
      if (offer.kind == Kind::kFile) {
        cell = table.View(row, column);
      } else {
        Utf8::AppendSafe(cell, table.View(row, column));
      }
      bytes += sizeof(std::string) + cell.size();
    }
  }
  rows = std::move(made);
  return true;
}

std::string ProviderSession::Push(const Fields& fields) {
  const auto found = offers_.find(std::string(fields[1]));
  if (found == offers_.end() || !found->second.isPushed) return "it pushes what it has not offered";
  Offer& offer = found->second;
  LiveRows rows;
  std::size_t bytes = 0;
  if (!ReadRows(offer, fields[2], rows, bytes)) return "it pushes another shape than it offered";
  if (offer.kind == Kind::kValue && !FitsModel(found->first, rows->front().front())) {
    return "it pushes a value that the model rules out";
  }
  pushedBytes_ += bytes - offer.bytes;
  offer.bytes = bytes;
  offer.rows = std::move(rows);
  return pushedBytes_ > kMaxPushedBytes ? "it pushes too much" : "";
}

// Whether every key of that source may have the value.
bool ProviderSession::FitsModel(const std::string& source, const std::string& value) const {
  const auto& keys = world_.settings.Definitions().Keys();
  return std::all_of(keys.begin(), keys.end(), [&](const ModelKey& key) {
    return key.source != source || key.type == ValueType::kTable ||
           CheckValue(key, value).IsSuccess();
  });
}
