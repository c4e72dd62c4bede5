// SPDX-License-Identifier: MIT
//
// Checks values against the model. A sentence says what is wrong: it names the limit and never
// repeats the value.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/log/Outcome.h"
#include "sysmgr/model/Model.h"

Outcome CheckValue(const ModelKey& key, std::string_view value);

// The value as people mean it: without blanks around an address, with dots for commas in an IPv4
// address and colons for dashes in a MAC address, and with dashes between the groups of a text that
// has groups, whatever blanks and dashes it came with. Other values stay as they are, and so does
// what can't be meant.
std::string NormalForm(const ModelKey& key, std::string_view value);

// All sentences that CheckValue can return for the key.
std::vector<std::string> SentencesOf(const ModelKey& key);

// The value of a setting, by its name.
using ValueOf = std::function<std::string(const std::string& key)>;

// Checks the rule for these values, each of which has passed CheckValue.
Outcome CheckRule(const ModelRule& rule, const ValueOf& valueOf);

// Reads an IPv4 address in dotted decimal, four numbers without leading zeros. Returns false and
// leaves `address` untouched when it is not one.
bool ParseIpv4(std::string_view text, std::uint32_t& address);
