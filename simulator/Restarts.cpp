// SPDX-License-Identifier: MIT
//
// What can fail comes first.
#include "simulator/Restarts.h"

namespace {

constexpr const char* kBusy = "A firmware image is being installed.";

}  // namespace

std::string Restarts::Restart() {
  if (firmware_.IsInstalling()) return kBusy;
  firmware_.Restart();
  powerline_.Restart();
  for (const auto& listener : listeners_) listener();
  log_.Add("The device started with firmware " + firmware_.RunningVersion() + ".");
  return "";
}

std::string Restarts::FactoryReset() {
  if (firmware_.IsInstalling()) return kBusy;
  const std::string problem = settings_.Reset();
  if (!problem.empty()) return "The factory settings " + problem + ".";
  log_.Add("All settings have their factory values again.");
  return Restart();
}

void Restarts::OfferTo(Sources& sources) {
  sources.OfferAction("restart", [this](const ActionRequest&) { return Restart(); });
  sources.OfferAction("factory-reset", [this](const ActionRequest&) { return FactoryReset(); });
}
