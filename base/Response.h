// SPDX-License-Identifier: MIT
//
// How far the response has come, and whether a part of it is lost. A process writes one response,
// so this is state of the process.
#pragma once

namespace Response {

// The headers of every response, after those that differ.
inline constexpr char kCommonHeaders[] =
    "Pragma: no-cache\r\n"
    "Cache-Control: no-cache\r\n"
    "Expires: -1\r\n"
    "\r\n";

inline constexpr char kOutOfMemory[] = "out of dynamic memory";

// What has been handed to the system.
enum class Stage {
  kNothing,
  kTextHeaders,  // all headers, and the content will be a text
  kContent,      // some of the content, or the headers of something that isn't a text
};

// Call it as soon as the headers are written, and before the first byte of content is.
void Reach(Stage stage);

// Notes that something of the response is lost: memory ran out, or output could not be written.
// The process then ends with status 2.
[[gnu::cold]] void Lose();
bool IsWhole();

// Writes the message as a line of text in place of the content, with headers if there are none yet.
// Does nothing if some of the content has gone out. The buffer of `stdout` must be empty then.
// A signal handler may call it.
[[gnu::cold]] void WriteFailure(const char* message);

}  // namespace Response
