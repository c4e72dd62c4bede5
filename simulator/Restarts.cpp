// SPDX-License-Identifier: MIT
//
// Steps that can fail come first.
#include "simulator/Restarts.h"

Outcome Restarts::Restart() {
  if (firmware_.IsInstalling()) return Sentence::kInstalling;
  firmware_.Restart();
  powerline_.Restart();
  for (const auto& listener : listeners_) listener();
  log_.Add("The device started with firmware " + firmware_.RunningVersion() + ".");
  return {};
}

Outcome Restarts::FactoryReset() {
  if (firmware_.IsInstalling()) return Sentence::kInstalling;
  Outcome reset = settings_.Reset();
  if (!reset.IsSuccess()) return reset;
  log_.Add("All settings have their factory values again.");
  return Restart();
}

void Restarts::OfferTo(Sources& sources) {
  sources.OfferAction("restart", [this](const ActionRequest&) { return Restart(); });
  sources.OfferAction("factory-reset", [this](const ActionRequest&) { return FactoryReset(); });
}
