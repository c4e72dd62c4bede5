// SPDX-License-Identifier: MIT
//
// The program's requests to the system manager. All of them use these three functions, in the name
// of gServiceName; none of the functions writes a message. After a query that the system manager
// could not be reached for or did not answer, the variable kUnansweredVariable is "1".
#pragma once

#include <string>

#include "platform/StringTable.h"

class SysMgrProxy;

// How a table is made from a text. All client libraries use the same numbers.
constexpr auto kSerializedTable = static_cast<StringTable::ConstructionType>(0);
constexpr auto kQueryText = static_cast<StringTable::ConstructionType>(1);

// Says to the page that it lacks values, not because the system manager refused a query, but
// because it could not be reached or did not answer.
inline constexpr char kUnansweredVariable[] = "_unanswered";

// Connects on the first request.
extern SysMgrProxy gSysMgr;

// The answer to a table of keys; no rows and no columns when the query failed.
StringTable SysMgr_Query(const StringTable& query);

// Asks without waiting. SysMgr_TakeAnswer then gives what SysMgr_Query would; it must be called
// once for each query, in their order, before any other request. Returns false when the client
// library can't ask ahead now: SysMgr_Query must do it when all answers have been taken.
bool SysMgr_Ask(const StringTable& query);
StringTable SysMgr_TakeAnswer();

// The answer of SysMgr_Query in its serialised form; "" when the query failed.
std::string SysMgr_QueryString(const StringTable& query);

// Sets keys to values, both tables of one column, as one batch: all or none. The answer has one
// column and a row for each key, "" or what is wrong, and possibly one more row about the batch. A
// failed request gives the same kind of table, with a text for each key.
StringTable SysMgr_Set(const StringTable& keys, const StringTable& values);
