// SPDX-License-Identifier: MIT
#include "simulator/Simulate.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>

#include "provider/Provider.h"
#include "simulator/Misbehaviour.h"
#include "simulator/SimulatedDevice.h"

namespace {

constexpr std::chrono::milliseconds kReconnectPause{100};
constexpr int kStepMilliseconds = 1000;

volatile std::sig_atomic_t gIsUnplugged = 0;

void PullOrPlugIn(int /*signal*/) {
  gIsUnplugged = gIsUnplugged == 0 ? 1 : 0;
}

void Say(const std::string& text) {
  std::fprintf(stderr, "vistel-simulator: %s\n", text.c_str());
}

}  // namespace

[[noreturn]] void Simulate(const Options& options, const Powerline::Clock& timeOfDay,
                           const Powerline::Clock& steady) {
  Provider provider("simulator");
  std::signal(SIGUSR1, PullOrPlugIn);
  SimulatedDevice device(provider, options.seed, options.names, timeOfDay, steady);
  Misbehaviour misbehaviour(provider, options.failure, options.failAfterSeconds);
  std::string said;
  for (;;) {
    if (provider.Connect(options.socket)) {
      Say("connected to '" + options.socket + "'");
      while (provider.Step(kStepMilliseconds)) {
        device.SetUnplugged(gIsUnplugged != 0);
        misbehaviour.Begin(steady());
      }
    }
    // A service that is not there is tried again and again, and told once.
    if (provider.Problem() != said) Say(provider.Problem());
    said = provider.Problem();
    std::this_thread::sleep_for(kReconnectPause);
  }
}
