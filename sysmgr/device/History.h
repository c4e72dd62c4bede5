// SPDX-License-Identifier: MIT
//
// The tables of the model that tell how other tables have been: it asks for these from time to
// time, as a client would, and answers with what was recorded. The rule to know: a record outlives
// its provider's connection, but is shown only while the table itself can be asked for.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "sysmgr/device/Device.h"
#include "sysmgr/device/Recording.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/model/Model.h"

class History {
 public:
  // How often the tables are asked for unless the build says otherwise. Thirty answers make a mean,
  // and whoever is away for longer than this is noticed.
  static constexpr int kSampleSeconds = 10;

  using Clock = std::function<std::int64_t()>;  // seconds of the monotonic clock

  // The model must outlive the history.
  History(const Model& model, Clock steady);
  History(const History&) = delete;
  History& operator=(const History&) = delete;

  // Both must live as long as the queries.
  void OfferTo(Sources& sources) const;

  // Asks for each table; answers that come later are taken then. A table whose last answer is still
  // out is not asked for. The device, and then the history, must outlive the answers.
  void Sample(Device& device);

  // Asks in the same way for those tables only that nobody was there to answer for the last time,
  // so that a device which has just started is known at once. One that has no such table yet is
  // asked with the others: each such answer is a line in the log.
  void SampleUnknown(Device& device);

  // Forgets everything, as after a restart.
  void Clear();

 private:
  struct Record {
    const ModelKey& key;
    Recording recording;
    StringTable question;     // the key of the table
    Device::Answers answers;  // to it, those of the last time too
    Device::Tables tables;
    bool isAsking = false;
    bool isKnown = false;  // whether the last answer was one
  };

  void Ask(Record& record, Device& device);
  void Take(Record& record, Device& device);

  Clock steady_;
  std::list<Record> records_;
};
