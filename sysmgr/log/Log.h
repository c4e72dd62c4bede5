// SPDX-License-Identifier: MIT
//
// The service's log: records of one line on standard error, each with the time in UTC at its start.
// Never log values of settings or authorisations.
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

// Writes a record. Control characters and bytes beyond ASCII become "?". Cuts a text that is too
// long, and drops a record that would block.
void Write(std::string_view text);

// The same for records that a client can cause at any rate.
void WriteAboutClient(std::string_view text);

// The record that Write would make of `text`, with its newline.
std::string Record(std::string_view time, std::string_view text);

}  // namespace Log
