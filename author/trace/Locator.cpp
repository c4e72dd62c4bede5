// SPDX-License-Identifier: MIT
#include "author/trace/Locator.h"

#include <algorithm>
#include <array>
#include <utility>

#include "WGLParser.hpp"
#include "author/trace/Placeholders.h"
#include "base/Characters.h"

namespace {

constexpr std::size_t kExcerptBytes = 40;

struct Spelling {
  int token;
  const char* name;
  std::string_view text;
};
constexpr std::array<Spelling, 28> kSpellings = {{{T_BEGIN, "T_BEGIN", "<~"},
                                                  {T_END, "T_END", "~>"},
                                                  {T_QUOTE, "T_QUOTE", "`"},
                                                  {T_PLUS, "T_PLUS", "+"},
                                                  {T_MINUS, "T_MINUS", "-"},
                                                  {T_INCLUDE, "T_INCLUDE", "include"},
                                                  {T_TRANS, "T_TRANS", "trans"},
                                                  {T_SET, "T_SET", "set"},
                                                  {T_GET, "T_GET", "get"},
                                                  {T_QUERY, "T_QUERY", "query"},
                                                  {T_DO, "T_DO", "do"},
                                                  {T_ROWCOUNT, "T_ROWCOUNT", "rowcount"},
                                                  {T_RAW, "T_RAW", "raw"},
                                                  {T_JSON, "T_JSON", "json"},
                                                  {T_IF, "T_IF", "if"},
                                                  {T_THEN, "T_THEN", "then"},
                                                  {T_ELSE, "T_ELSE", "else"},
                                                  {T_EQ, "T_EQ", "eq"},
                                                  {T_NE, "T_NE", "ne"},
                                                  {T_GT, "T_GT", "gt"},
                                                  {T_GE, "T_GE", "ge"},
                                                  {T_LT, "T_LT", "lt"},
                                                  {T_LE, "T_LE", "le"},
                                                  {T_CHARS, "T_CHARS", ""},
                                                  {T_VARNAME, "T_VARNAME", ""},
                                                  {T_VARNAME_HTMLTEXT, "T_VARNAME_HTMLTEXT", ""},
                                                  {T_VARNAME_HTMLESC, "T_VARNAME_HTMLESC", ""},
                                                  {0, "$end", ""}}};

// The bytes of a token beside its value.
std::size_t FrameBytes(int token) {
  switch (token) {
    case T_VARNAME:
      return sizeof "${}" - 1;
    case T_VARNAME_HTMLTEXT:
      return sizeof "${ htmltext}" - 1;
    case T_VARNAME_HTMLESC:
      return sizeof "${ htmlesc}" - 1;
    case T_QUOTE:
      return sizeof "`" - 1;
    case T_BEGIN:
    case T_END:
      return sizeof "<~" - 1;
    default:
      return SpellingOf(token).size();
  }
}

bool IsComparison(int token) {
  return token >= T_EQ && token <= T_LE;
}

// Whether "$" before these bytes hides a meaning of theirs.
bool HasMeaning(std::string_view text) {
  for (const std::string_view sign : {"`", "~>", "<~", "${"}) {
    if (text.substr(0, sign.size()) == sign) return true;
  }
  return false;
}

}  // namespace

std::string_view SpellingOf(int token) {
  for (const Spelling& spelling : kSpellings) {
    if (spelling.token == token) return spelling.text;
  }
  return "";
}

std::string SpellingOf(const std::string& tokenName) {
  if (tokenName == "$end") return "the end of the file";
  if (tokenName == "T_CHARS") return "text";
  for (const Spelling& spelling : kSpellings) {
    if (tokenName == spelling.name && !spelling.text.empty()) {
      return "'" + std::string(spelling.text) + "'";
    }
  }
  return "a variable";
}

void Locator::Open(std::uint32_t file) {
  files_.push_back({file, {}, 0, 1, 1, constructs_.size()});
}

void Locator::Read(std::string_view text) {
  files_.back().text = text;
}

Place Locator::Here() const {
  if (files_.empty()) return {};
  const File& file = files_.back();
  return {file.number, file.line, file.column};
}

std::string_view Locator::Rest() const {
  if (files_.empty()) return {};
  const File& file = files_.back();
  return file.text.substr(file.position);
}

bool Locator::IsOpen(std::uint32_t file) const {
  return std::any_of(files_.begin(), files_.end(),
                     [file](const File& open) { return open.number == file; });
}

bool Locator::IsInBranch() const {
  return std::any_of(constructs_.begin(), constructs_.end(),
                     [](const Construct& open) { return open.inBranch; });
}

void Locator::Skip(std::size_t bytes) {
  File& file = files_.back();
  const std::size_t end = std::min(file.text.size(), file.position + bytes);
  const Place place = Advance({file.number, file.line, file.column},
                              file.text.substr(file.position, end - file.position));
  file.position = end;
  file.line = place.line;
  file.column = place.column;
}

// The scanner drops NUL bytes in text, and blanks in code.
void Locator::SkipIgnored() {
  const File& file = files_.back();
  const bool code = IsCode();
  std::size_t end = file.position;
  while (end < file.text.size() && (code ? IsBlank(file.text[end]) : file.text[end] == '\0')) ++end;
  if (end > file.position) Skip(end - file.position);
}

void Locator::Close() {
  const File& file = files_.back();
  if (constructs_.size() > file.constructs) {
    oddities_.push_back({Oddity::Kind::kLeftOpen, constructs_.back().place, ""});
  }
  files_.pop_back();
}

void Locator::GoOn() {
  if (files_.empty()) return;
  SkipIgnored();
  while (files_.size() > 1 && files_.back().position >= files_.back().text.size()) {
    Close();
    SkipIgnored();
  }
}

void Locator::SkipValue(std::string_view value) {
  const File& file = files_.back();
  if (file.text.substr(file.position, value.size()) == value) {
    Skip(value.size());
    return;
  }
  std::size_t end = file.position;
  for (std::size_t i = 0; i < value.size() && end < file.text.size(); ++end) {
    if (file.text[end] != '\0') ++i;
  }
  Skip(end - file.position);
}

void Locator::NoteOddities(std::size_t begin, std::size_t end) {
  const std::string_view text = files_.back().text;
  for (std::size_t i = text.find('$', begin); i < end; i = text.find('$', i)) {
    const std::string_view after = text.substr(i + 1);
    const auto note = [&](Oddity::Kind kind, std::size_t bytes) {
      const Place place = Advance(tokenPlace_, text.substr(begin, i - begin));
      oddities_.push_back({kind, place, std::string(text.substr(i, bytes))});
    };
    if (after.empty()) return;
    if (after[0] != '{') {
      if (HasMeaning(after)) note(Oddity::Kind::kSwallowed, after[0] == '`' ? 2 : 3);
      i += 2;
      continue;
    }
    const std::string_view whole = text.substr(i, kExcerptBytes);
    const std::size_t close = whole.find_first_of("}\n");
    const bool nested = after.substr(1, 2) == "${";
    if (PlaceholderAt(whole).size == 0 && !nested) {
      note(Oddity::Kind::kNotVariable, close == std::string_view::npos ? close : close + 1);
    }
    ++i;
  }
}

void Locator::FollowConstructs(int token) {
  before_ = constructs_.empty() ? Construct() : constructs_.back();
  if (token == T_BEGIN) {
    Construct block;
    block.place = tokenPlace_;
    block.fileDepth = static_cast<std::uint32_t>(files_.size());
    constructs_.push_back(block);
    return;
  }
  if (constructs_.empty()) return;
  Construct& innermost = constructs_.back();
  if (token == T_QUOTE && !innermost.isString) {
    Construct string;
    string.isString = true;
    string.place = tokenPlace_;
    constructs_.push_back(string);
  } else if (token == T_QUOTE || token == T_END) {
    if (constructs_.size() == files_.back().constructs) {
      oddities_.push_back({Oddity::Kind::kUnbalanced, tokenPlace_, ""});
      files_.back().constructs = 0;  // reported once
    }
    lastClosed_ = innermost;
    constructs_.pop_back();
  } else if (!innermost.isString) {
    if (innermost.command == 0) innermost.command = token;
    if (IsComparison(token)) innermost.comparison = token;
    if (token == T_THEN) innermost.inBranch = true;
  }
}

void Locator::Take(int token, std::string_view value) {
  if (files_.empty()) return;
  GoOn();
  token_ = token;
  tokenPlace_ = Here();
  const std::size_t begin = files_.back().position;
  if (token == T_CHARS) {
    SkipValue(value);
    NoteOddities(begin, files_.back().position);
  } else {
    Skip(FrameBytes(token) + value.size());
  }
  FollowConstructs(token);
}
