// SPDX-License-Identifier: MIT
//
// The running service without its command line.
#pragma once

#include "sysmgr/Options.h"
#include "sysmgr/firmware/FirmwareUpdate.h"
#include "sysmgr/service/Server.h"

// The durations that someone waits for: those of the product, or shorter ones for a test.
struct Pace {
  int deadlineMilliseconds = Server::kDeadlineMilliseconds;
  int stepMilliseconds = FirmwareUpdate::kStepMilliseconds;
};

// Serves until a signal ends it. Throws when it can't start or continue.
void Serve(const Options& options, const Pace& pace = {});
