// SPDX-License-Identifier: MIT
//
// Turns a value into the form that the place needs where a page puts it: HTML text, part of a URL,
// or the inside of a JSON string.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class WGLEscaper {
 public:
  // `mode`, compared exactly and case-sensitively:
  //   "htmltext"  HTML text and quoted attribute values, see MakeHtmlEntities
  //   "htmlesc"   percent-encoding (RFC 3986, section 2.1), see HtmlEscape
  //   "json"      the inside of a JSON string (RFC 8259), as far as backslash and double quote go
  //   any other   nothing is changed
  explicit WGLEscaper(std::string_view mode);

  std::string Escape(const std::string& value) const;

  // Writes what Escape makes of `value` to `out`, which has room for Growth() times its size, and
  // returns the end of it. No NUL byte is added.
  static constexpr std::size_t kMaxGrowth = 8;  // "&quot;" and two bytes that may be scribbled on
  std::size_t Growth() const { return mode_ == Mode::kNone ? 1 : kMaxGrowth; }
  char* EscapeTo(char* out, std::string_view value) const;

  // Character references for < > & " and '; every other byte is copied.
  std::string MakeHtmlEntities(const std::string& value) const;

  // "%XX", upper case, for every byte but ASCII letters and digits.
  std::string HtmlEscape(const std::string& value) const;

 private:
  enum class Mode { kHtmlText, kUrl, kJson, kNone };

  static char* EntitiesTo(char* out, std::string_view value);

  Mode mode_;
};
