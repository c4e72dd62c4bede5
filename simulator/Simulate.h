// SPDX-License-Identifier: MIT
//
// The running simulator: all of it but its command line.
#pragma once

#include "simulator/Options.h"
#include "simulator/Powerline.h"

// Connects to the system manager as any device does, and again whenever the connection is lost,
// until a signal ends it. The signal USR1 unplugs one of the other adapters, or plugs it in again.
[[noreturn]] void Simulate(const Options& options, const Powerline::Clock& timeOfDay,
                           const Powerline::Clock& steady);
