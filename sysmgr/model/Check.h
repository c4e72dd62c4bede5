// SPDX-License-Identifier: MIT
//
// Whether values fit the model. What is wrong is told in plain words that name the limit and never
// repeat the value; the words hold none of < > & " ', so that every page can show them as they are.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "sysmgr/model/Model.h"

// "" when `value` is fine for the key, else what is wrong with it.
std::string CheckValue(const ModelKey& key, std::string_view value);

// The value of a setting, by its name.
using ValueOf = std::function<std::string(const std::string& key)>;

// "" when the rule holds for these values, else its message. The values are each fine.
std::string CheckRule(const ModelRule& rule, const ValueOf& valueOf);

// Reads an IPv4 address in dotted decimal, four numbers without leading zeros. False, with
// `address` untouched, when it is none.
bool ParseIpv4(std::string_view text, std::uint32_t& address);
