// SPDX-License-Identifier: MIT
//
// Escapes a value for its place in a page: HTML text, part of a URL, or the inside of a JSON
// string.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class WGLEscaper {
 public:
  // `mode`, compared exactly and case-sensitively:
  //   "htmltext"  HTML text and quoted attribute values, see MakeHtmlEntities
  //   "htmlesc"   percent-encoding (RFC 3986, section 2.1), see HtmlEscape
  //   "json"      the inside of a JSON string (RFC 8259): only backslash and double quote
  //   any other   no escaping
  explicit WGLEscaper(std::string_view mode);

  std::string Escape(const std::string& value) const;

  // Writes the result of Escape to `out`, which must have room for Growth() times the size of
  // `value`, and returns its end. Adds no NUL byte.
  static constexpr std::size_t kMaxGrowth = 8;  // "&quot;" and two bytes that may be overwritten
  std::size_t Growth() const { return mode_ == Mode::kNone ? 1 : kMaxGrowth; }
  char* EscapeTo(char* out, std::string_view value) const {
    return mode_ == Mode::kHtmlText ? EntitiesTo(out, value) : OtherTo(out, value);
  }

  // Equal for escapers of the same mode.
  unsigned ModeNumber() const { return static_cast<unsigned>(mode_); }

  // Character references for < > & " and '; every other byte is copied.
  std::string MakeHtmlEntities(const std::string& value) const;

  // "%XX", upper case, for every byte but ASCII letters and digits.
  std::string HtmlEscape(const std::string& value) const;

 private:
  enum class Mode { kHtmlText, kUrl, kJson, kNone };

  static char* EntitiesTo(char* out, std::string_view value);
  char* OtherTo(char* out, std::string_view value) const;

  Mode mode_;
};
