// SPDX-License-Identifier: MIT
//
// The service's log: one record of one line on standard error, with the time in UTC in front.
// Values of settings and authorisations never go in here.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Log {

// Longest part of a key or of another name of a client's in a record.
inline constexpr std::size_t kMaxNameBytes = 200;

// The part of a key's text that a log may show: its path. What stands behind it, such as the values
// of selectors, may be secret.
std::string_view PathOf(std::string_view key);

// Longest record, its newline included. A pipe takes that many bytes whole or not at all
// (PIPE_BUF), so records never mix and a reader that stopped reading can't hold up the service.
inline constexpr std::size_t kMaxRecordBytes = 1024;

// Records about misbehaving clients in one second; the rest is counted and told in one record.
inline constexpr unsigned kMaxClientRecordsPerSecond = 20;

// Writes a record. Control characters and bytes beyond ASCII become "?", and what is longer than a
// record is cut. A record that would block is dropped.
void Write(std::string_view text);

// The same for what a client can cause as often as it likes.
void WriteAboutClient(std::string_view text);

// The record that Write would make of `text`, newline included.
std::string Record(std::string_view time, std::string_view text);

}  // namespace Log
