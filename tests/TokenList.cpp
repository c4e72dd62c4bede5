// SPDX-License-Identifier: MIT
#include "tests/TokenList.h"

#include <map>

#include "WGLParser.hpp"

namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (char byte : text) {
    if (byte == '\n') {
      quoted += "\\n";
    } else {
      quoted += byte;
    }
  }
  return quoted + "\"";
}

}  // namespace

void TokenList::Add(int code, const std::string& text) {
  static const std::map<int, const char*> kSpellings = {
      {T_BEGIN, "<~"},  {T_END, "~>"},          {T_QUOTE, "`"},     {T_PLUS, "+"},
      {T_MINUS, "-"},   {T_INCLUDE, "include"}, {T_TRANS, "trans"}, {T_SET, "set"},
      {T_GET, "get"},   {T_QUERY, "query"},     {T_DO, "do"},       {T_ROWCOUNT, "rowcount"},
      {T_RAW, "raw"},   {T_JSON, "json"},       {T_IF, "if"},       {T_THEN, "then"},
      {T_ELSE, "else"}, {T_EQ, "eq"},           {T_NE, "ne"},       {T_GT, "gt"},
      {T_GE, "ge"},     {T_LT, "lt"},           {T_LE, "le"}};
  if (code == T_CHARS) {
    chars_ += text;
    return;
  }
  list_ = Text();
  chars_.clear();
  if (code == T_VARNAME) {
    list_ += "var" + Quoted(text);
  } else if (code == T_VARNAME_HTMLTEXT) {
    list_ += "htmltext" + Quoted(text);
  } else if (code == T_VARNAME_HTMLESC) {
    list_ += "htmlesc" + Quoted(text);
  } else {
    const auto spelling = kSpellings.find(code);
    list_ += spelling != kSpellings.end() ? spelling->second : "?" + std::to_string(code);
  }
  list_ += " ";
}

std::string TokenList::Text() const {
  return chars_.empty() ? list_ : list_ + Quoted(chars_) + " ";
}
