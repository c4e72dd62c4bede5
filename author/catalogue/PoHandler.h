// SPDX-License-Identifier: MIT
//
// The library of catalogue files, with its problems as texts.
#pragma once

#include <gettext-po.h>

#include <functional>
#include <memory>
#include <string>

struct PoCloser {
  void operator()(po_file_t file) const { po_file_free(file); }
};
using PoFile = std::unique_ptr<po_file, PoCloser>;

// Calls `use`, which returns false on failure, with a handler for it. Returns the problem; "" when
// there is none. Warnings don't count.
std::string PoProblem(const std::function<bool(const po_xerror_handler& handler)>& use);
