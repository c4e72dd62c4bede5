// SPDX-License-Identifier: MIT
//
// The places where foreign text lands in a page, and which escaping each of them needs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "author/check/HtmlPage.h"
#include "author/check/Judges.h"
#include "author/check/Rendering.h"

enum class Landing {
  kText,           // of an element, a title, a comment
  kAttribute,      // in quotes
  kUnquoted,       // an attribute without quotes
  kAddressStart,   // where an address can become "javascript:"
  kAddress,        // further in an address
  kScriptAddress,  // "javascript:..."
  kEvent,          // a script in an attribute
  kStyle,          // a style, in an element or attribute
  kScript,
  kTag,  // the name of an element or attribute
  kJsonString,
  kJsonValue,
};

struct Landed {
  std::size_t spot;
  Landing landing;
  bool inDoubleQuotes = false;  // of an attribute or script
};

std::vector<Landed> LandingsIn(const HtmlPage& page, bool isXml);
std::vector<Landed> LandingsInJson(const Rendering& rendering);

// Such as "in a script".
std::string_view NameOf(Landing landing);

// What is wrong with a foreign text there, and what to write instead; "" when nothing is.
std::string ProblemOf(const Spot& spot, const Landed& landed);

// The signs of a translation that end the place where it lands.
std::string_view EndingSigns(const Landed& landed);
