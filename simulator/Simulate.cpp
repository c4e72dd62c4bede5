// SPDX-License-Identifier: MIT
#include "simulator/Simulate.h"

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "provider/Provider.h"
#include "simulator/Misbehaviour.h"
#include "simulator/SimulatedDevice.h"

namespace {

constexpr std::chrono::milliseconds kReconnectPause{100};
constexpr int kStepMilliseconds = 1000;

void Say(const std::string& text) {
  std::fprintf(stderr, "vistel-simulator: %s\n", text.c_str());
}

}  // namespace

[[noreturn]] void Simulate(const Options& options, const Powerline::Clock& timeOfDay,
                           const Powerline::Clock& steady) {
  Provider provider("simulator");
  const SimulatedDevice device(provider, options.seed, options.names, timeOfDay, steady);
  Misbehaviour misbehaviour(provider, options.failure, options.failAfterSeconds);
  std::string said;
  for (;;) {
    if (provider.Connect(options.socket)) {
      Say("connected to '" + options.socket + "'");
      while (provider.Step(kStepMilliseconds)) misbehaviour.Begin(steady());
    }
    // A service that is not there is tried again and again, and told once.
    if (provider.Problem() != said) Say(provider.Problem());
    said = provider.Problem();
    std::this_thread::sleep_for(kReconnectPause);
  }
}
