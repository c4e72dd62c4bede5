// SPDX-License-Identifier: MIT
//
// The sources and actions that the service itself has. A model may name any others: those are for
// providers to offer.
#pragma once

#include "sysmgr/device/Sources.h"
#include "sysmgr/model/Model.h"

// Throws StartFailure when the model uses one of the service's own sources as something else than
// it is. A model that passes can be served.
void CheckOwnSources(const Model& model);

// Throws std::logic_error when `sources` are not exactly the service's own.
void CheckOffers(const Sources& sources);
