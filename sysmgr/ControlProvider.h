// SPDX-License-Identifier: MIT
//
// The commands of sysmgrctl that make it a provider, so that a shell is enough for a device. The
// tool runs the commands of its user; the service never runs anything.
#pragma once

#include <string>
#include <vector>

// Offers the value `source`, runs `command` every so many seconds and pushes what it prints,
// without the last newline. Returns only when the service is gone or refuses; the result says why.
std::string Provide(const std::string& socketPath, const std::string& source, int everySeconds,
                    const std::vector<std::string>& command);

// Runs `command` for each batch of settings below `prefix`, the first time with all of them. Its
// standard input has a line "key=value" for each. Settings count as applied when it has ended.
// Returns as Provide.
std::string WatchSettings(const std::string& socketPath, const std::string& prefix,
                          const std::vector<std::string>& command);
