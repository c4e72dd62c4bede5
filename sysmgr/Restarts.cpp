// SPDX-License-Identifier: MIT
//
// What can fail comes first.
#include "sysmgr/Restarts.h"

#include <string>

namespace {

constexpr const char* kDeviceRestart = "device-restart";

}  // namespace

Restarts::Restarts(Settings& settings, FirmwareUpdate& firmware, Sources& sources, EventLog& log)
    : settings_(settings), firmware_(firmware), sources_(sources), log_(log) {
  sources_.OfferAction("restart", [this](const ActionRequest& request, const OutcomeTaker& done) {
    Restart(request, done);
  });
  sources_.OfferAction("factory-reset",
                       [this](const ActionRequest& request, const OutcomeTaker& done) {
                         FactoryReset(request, done);
                       });
}

void Restarts::Restart(const ActionRequest& request, const OutcomeTaker& done) {
  const Outcome ready = firmware_.Readiness();
  if (!ready.IsSuccess()) return done(ready);
  StartAgain(request, done);
}

void Restarts::RestartAtOnce() {
  const std::string name = "restart";
  StringTable keys(1);
  StringTable values(1);
  keys.AddCells({name});
  values.AddCells({"1"});
  Restart(ActionRequest(keys, values, name, ""), [](const Outcome&) {});
}

void Restarts::StartAgain(const ActionRequest& request, const OutcomeTaker& done) {
  // What began with an image while a reset went to the disk goes on.
  if (firmware_.Readiness().IsSuccess()) firmware_.Restart();
  for (const auto& listener : listeners_) listener();
  log_.Add(Sentence::kEventStarted, firmware_.RunningVersion());
  if (const Action* device = sources_.FindAction(kDeviceRestart)) {
    (*device)(request, done);
  } else {
    done({});
  }
}

void Restarts::FactoryReset(const ActionRequest& request, const OutcomeTaker& done) {
  const Outcome ready = firmware_.Readiness();
  if (!ready.IsSuccess()) return done(ready);
  settings_.Reset([this, kept = KeptRequest(request), done](const Outcome& reset) {
    if (!reset.IsSuccess()) {
      done(reset);
      return;
    }
    log_.Add(Sentence::kEventReset);
    if (onReset_) onReset_();
    StartAgain(kept.Request(), done);
  });
}
