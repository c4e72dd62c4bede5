// SPDX-License-Identifier: MIT
#include "author/trace/SyntaxMessage.h"

#include <cctype>

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
  return {
      (around.isString ? "in this string, line " : "in this command, line ") + line + ": " + what,
      place};
}

std::string ExplainScannerError(const std::string& message, std::string_view rest) {
  const std::string excerpt = ExcerptOf(rest);
  if (message == "unmatched character") {
    return "'" + excerpt + "' is no part of a command; texts stand between backquotes";
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
