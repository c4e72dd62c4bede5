// SPDX-License-Identifier: MIT
//
// What a query's key means in the model.
#pragma once

#include <string>

#include "author/model/DeviceModel.h"
#include "author/trace/Placeholders.h"

// The columns of the answer to a query text, which may hold marks of foreign text. Not `known` when
// one of its keys isn't.
ResultSet ColumnsOf(const DeviceModel& model, const std::string& query);
