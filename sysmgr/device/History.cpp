// SPDX-License-Identifier: MIT
#include "sysmgr/device/History.h"

#include <string>
#include <utility>
#include <vector>

namespace {

// Tables of a history are open to everybody (ModelReader).
constexpr const char* kNobody = "";

}  // namespace

History::History(const Model& model, Clock steady) : steady_(std::move(steady)) {
  for (const ModelKey& key : model.Keys()) {
    if (key.history == nullptr) continue;
    Record& record =
        records_.emplace_back(Record{key, Recording(*key.history), StringTable(1), {}, {}});
    record.question.AddCells({key.history->of});
  }
}

void History::OfferTo(Sources& sources) const {
  for (const Record& record : records_) {
    const auto rows = [this, &sources, &record](const Question&) -> LiveRows {
      if (!record.isKnown || !sources.Has(record.key.history->source)) return nullptr;
      return std::make_shared<std::vector<LiveRow>>(record.recording.Rows(steady_()));
    };
    sources.OfferTable(record.key.source, {record.key.history->Columns(), rows});
  }
}

void History::Sample(Device& device) {
  for (Record& record : records_) Ask(record, device);
}

void History::SampleUnknown(Device& device) {
  for (Record& record : records_) {
    if (!record.isKnown && record.answers.empty()) Ask(record, device);
  }
}

void History::Ask(Record& record, Device& device) {
  if (record.isAsking) return;
  record.isAsking = true;
  record.answers.clear();
  record.tables.clear();
  Take(record, device);
}

void History::Take(Record& record, Device& device) {
  std::string text;
  std::vector<unsigned> missing;
  const Outcome outcome = device.Query(record.question, kNobody, record.answers, text, missing);
  if (outcome.IsSuccess() && !missing.empty()) {
    device.Ask(record.question, kNobody, missing, record.answers, record.tables,
               [this, &record, &device] { Take(record, device); });
    return;
  }
  record.isAsking = false;
  record.isKnown = outcome.IsSuccess();
  if (!record.isKnown) return;
  const StringTable answer(std::move(text), StringTable::kSerialized);
  std::vector<LiveRow> rows(answer.Rows(), LiveRow(answer.Columns()));
  for (unsigned row = 0; row < answer.Rows(); ++row) {
    for (unsigned column = 0; column < answer.Columns(); ++column) {
      rows[row][column] = answer.View(row, column);
    }
  }
  record.recording.Add(steady_(), record.key.history->columnsOf, rows);
}

void History::Clear() {
  for (Record& record : records_) record.recording.Clear();
}
