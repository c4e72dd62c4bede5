// SPDX-License-Identifier: MIT
//
// The service's log: records of one line on standard error, each with the time in UTC at its start,
// and before that its priority where standard error is the journal. Never log values of settings or
// authorisations.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Log {

// The most bytes of a key, or of another name from a client, in a record.
inline constexpr std::size_t kMaxNameBytes = 200;

// The part of a key's text that a log may show: its path. The rest, such as the values of
// selectors, may be secret.
std::string_view PathOf(std::string_view key);

// The longest record, with its newline. A pipe takes so few bytes whole or not at all (PIPE_BUF),
// so records never mix, and a reader that stopped reading can't block the service.
inline constexpr std::size_t kMaxRecordBytes = 1024;

// Records about misbehaving clients in one second; further ones are counted and logged as one
// record.
inline constexpr unsigned kMaxClientRecordsPerSecond = 20;

// As the journal counts them.
enum class Priority { kError = 3, kWarning = 4, kInfo = 6 };

// The same for successful sets, which are counted apart, so that no mistakes push them out.
inline constexpr unsigned kMaxSetRecordsPerSecond = 200;

// Writes a record. Control characters and bytes beyond ASCII become "?". Cuts a text that is too
// long, and drops a record that would block.
void Write(std::string_view text, Priority priority = Priority::kInfo);

// The same for records that a client can cause at any rate: warnings, and successful sets.
void WriteAboutClient(std::string_view text);
void WriteAboutSet(std::string_view text);

}  // namespace Log
