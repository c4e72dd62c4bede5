// SPDX-License-Identifier: MIT
//
// The program's requests to the system manager. All of them use these three functions, in the name
// of gServiceName; none of the functions writes a message. After a query that the system manager
// could not be reached for or did not answer, the variable "_unanswered" is "1".
#pragma once

#include <string>

#include "platform/StringTable.h"

class SysMgrProxy;

// How a table is made from a text. All client libraries use the same numbers.
constexpr auto kSerializedTable = static_cast<StringTable::ConstructionType>(0);
constexpr auto kQueryText = static_cast<StringTable::ConstructionType>(1);

// Connects on the first request.
extern SysMgrProxy gSysMgr;

// The answer to a table of keys; no rows and no columns when the query failed.
StringTable SysMgr_Query(const StringTable& query);

// The same answer in its serialised form; "" when the query failed.
std::string SysMgr_QueryString(const StringTable& query);

// Sets keys to values, both tables of one column, as one batch: all or none. The answer has one
// column and a row for each key, "" or what is wrong, and possibly one more row about the batch. A
// failed request gives the same kind of table, with a text for each key.
StringTable SysMgr_Set(const StringTable& keys, const StringTable& values);
