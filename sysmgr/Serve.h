// SPDX-License-Identifier: MIT
//
// The running service: all of it but its command line.
#pragma once

#include "sysmgr/Options.h"
#include "sysmgr/firmware/FirmwareUpdate.h"
#include "sysmgr/service/Server.h"

// The times that somebody waits for. Those of the product, unless a test has less patience.
struct Pace {
  int deadlineMilliseconds = Server::kDeadlineMilliseconds;
  int stepMilliseconds = FirmwareUpdate::kStepMilliseconds;
};

// Serves until a signal ends it. Throws when it can't start or go on.
void Serve(const Options& options, const Pace& pace = {});
