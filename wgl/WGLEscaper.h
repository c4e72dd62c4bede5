// SPDX-License-Identifier: MIT
//
// Turns a value into the form that the place needs where a page puts it: HTML text, part of a URL,
// or the inside of a JSON string.
#pragma once

#include <string>
#include <string_view>

class WGLEscaper {
 public:
  // `mode`, compared exactly and case-sensitively:
  //   "htmltext"  HTML text and quoted attribute values, see MakeHtmlEntities
  //   "htmlesc"   percent-encoding (RFC 3986, section 2.1), see HtmlEscape
  //   "json"      the inside of a JSON string (RFC 8259), as far as backslash and double quote go
  //   any other   nothing is changed
  explicit WGLEscaper(std::string_view mode) : mode_(mode) {}

  std::string Escape(const std::string& value) const;

  // Character references for < > & " and '; every other byte is copied.
  std::string MakeHtmlEntities(const std::string& value) const;

  // "%XX", upper case, for every byte but ASCII letters and digits.
  std::string HtmlEscape(const std::string& value) const;

 private:
  const std::string mode_;
};
