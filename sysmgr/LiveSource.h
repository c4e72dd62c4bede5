// SPDX-License-Identifier: MIT
//
// Where the read-only keys get their values from: the place where a device maker plugs in the real
// hardware. Sources have names, which the model's keys refer to.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

using LiveRow = std::vector<std::string>;

// Never changed once it is handed out: newer values come in a new one.
using LiveRows = std::shared_ptr<const std::vector<LiveRow>>;

class LiveSource {
 public:
  virtual ~LiveSource() = default;

  // Whether there is a source of a single value of that name.
  virtual bool HasValue(std::string_view source) const = 0;

  // The columns of a table source, in the order of its rows' cells. Null when there is none of that
  // name. Good for the object's life.
  virtual const std::vector<std::string>* Columns(std::string_view source) const = 0;

  // The present values of a source that exists. They are asked for in every query and must answer
  // from memory: whoever has to wait for hardware does it elsewhere.
  virtual std::string Value(std::string_view source) = 0;
  virtual LiveRows Rows(std::string_view source) = 0;
};
