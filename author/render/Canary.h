// SPDX-License-Identifier: MIT
//
// The markup that stands for foreign text: where it appears unescaped, a stranger could write into
// the page.
#pragma once

#include <string>

inline constexpr char kCanaryStart[] = "<canary-";

// `name` says where the text comes from.
inline std::string CanaryOf(const std::string& name) {
  return "'\"" + std::string(kCanaryStart) + name + ">";
}
