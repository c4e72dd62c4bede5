// SPDX-License-Identifier: MIT
#include "author/trace/SyntaxMessage.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include "WGLParser.hpp"
#include "author/model/DeviceModel.h"
#include "base/Utf8.h"

namespace {

constexpr std::string_view kUnexpected = "unexpected ";
constexpr std::size_t kQuotedBytes = 30;

// The token names of the message as an author writes them: "unexpected T_END, expecting T_QUOTE".
std::string Spelled(std::string_view message) {
  std::string result;
  while (!message.empty()) {
    std::size_t size = 0;
    while (size < message.size() && (std::isalnum(static_cast<unsigned char>(message[size])) != 0 ||
                                     message[size] == '_' || message[size] == '$')) {
      ++size;
    }
    const std::string word(message.substr(0, size));
    const bool isToken = word.compare(0, 2, "T_") == 0 || word == "$end";
    result += isToken ? SpellingOf(word) : word;
    if (size < message.size()) result += message[size];
    message.remove_prefix(std::min(message.size(), size + 1));
  }
  return result;
}

std::string ExcerptOf(std::string_view rest) {
  std::string excerpt;
  Utf8::AppendSafe(excerpt, rest.substr(0, std::min(rest.find('\n'), kQuotedBytes)));
  return excerpt;
}

// How a command is written, by the token after "<~".
std::string_view FormOf(int command) {
  switch (command) {
    case 0:
      return "a command begins with include, trans, set, get, query, if or -";
    case T_INCLUDE:
      return "it is: include `file`";
    case T_TRANS:
      return "it is: trans `text`";
    case T_SET:
      return "it is: set `name` `value`";
    case T_GET:
      return "it is: get `name`";
    case T_QUERY:
      return "it is: query `key`, then raw or json, then rowcount or do `text`, if wanted";
    case T_IF:
      return "it is: if `a` eq `b` then `text` else `text`; else may be left out";
    default:
      return "";
  }
}

std::string WordAt(std::string_view rest) {
  const std::size_t end = rest.find_first_of(" \t\r\n`~");
  std::string word;
  Utf8::AppendSafe(word, rest.substr(0, std::min(end, kQuotedBytes)));
  return word;
}

// What the scanner refuses inside of a command.
std::string AdviceOn(std::string_view rest, const Construct& around, int lastToken) {
  const char first = rest.empty() ? '\0' : rest[0];
  const std::string word = WordAt(rest);
  if (first == '=' || first == '!' || first == '<' || first == '>') {
    return around.command == T_SET ? "set takes no sign between name and value"
                                   : "comparisons are eq, ne, gt, ge, lt and le";
  }
  if (word == "and" || word == "or" || word == "&&" || word == "||") {
    return "a condition is one comparison; write a second if after then";
  }
  if (around.command == 0) {
    const std::string nearest =
        NearestName(word, {"include", "trans", "set", "get", "query", "if"});
    return nearest.empty() ? std::string(FormOf(0)) : "is it " + nearest + "?";
  }
  // Behind a text, another one is seldom meant.
  if (lastToken == T_QUOTE) return std::string(FormOf(around.command));
  return "texts stand between backquotes: `" + word + "`";
}

}  // namespace

Record::Error ExplainSyntaxError(const std::string& message, const Locator& locator) {
  const Construct& around = locator.Before();
  const bool inside = around.place.line != 0;
  const Place place = inside ? around.place : locator.TokenPlace();
  const std::string line = std::to_string(locator.TokenPlace().line);
  if (message.find("unexpected $end") != std::string::npos) {
    return {around.isString ? "this string is never closed; write a backquote at its end"
                            : "this command is never closed; write '~>' at its end",
            place};
  }
  const std::size_t at = message.find(kUnexpected);
  const std::string what = at == std::string::npos ? message : Spelled(message.substr(at));
  if (around.isString) {
    return {"in this string, line " + line + ": " + what + "; it ends with a backquote", place};
  }
  const bool expects = what.find("expecting") != std::string::npos;
  const std::string_view form = expects || !inside ? "" : FormOf(around.command);
  return {"in this command, line " + line + ": " + what + (form.empty() ? "" : "; ") +
              std::string(form),
          place};
}

std::string ExplainScannerError(const std::string& message, const Locator& locator) {
  const std::string_view rest = locator.Rest();
  const std::vector<Construct>& open = locator.Constructs();
  if (message == "unmatched character") {
    return "'" + ExcerptOf(rest) + "' is no part of a command; " +
           AdviceOn(rest, open.empty() ? Construct() : open.back(), locator.Token());
  }
  if (message == "memory exhausted") return "commands are nested too deeply";
  if (!rest.empty() && rest[0] == '`') {
    return "a backquote outside of commands ends the page; write &#96; for it, in a script \\x60";
  }
  if (rest.substr(0, 2) == "~>") {
    return "'~>' without a command ends the page; write '~ >' in a style, else &#126;&gt;";
  }
  return message;
}
