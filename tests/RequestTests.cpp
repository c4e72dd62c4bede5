// SPDX-License-Identifier: MIT
//
// The request handler's parts: decoding, fields, what it writes. The choice of a language is
// compared with the rule in other words by tests/fuzz/FuzzLanguage.cpp.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "request/RequestHandler.h"
#include "values/WGLVariables.h"

using namespace std::string_literals;

TEST(RequestHandler, Unescape) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"%", "%"},
      {"a%4", "a%4"},
      {"x%41", "xA"},
      {"%4a%4A%f0%FF%2541", "JJ\xF0\xFF%41"},
      {"a+b%2Bc+", "a b+c "},
      {"%zz%ZZ%4_%_4%%41", "SS@\4\0041"},
      {"%G0%\xFF\x80%++%/:%@`\xE4\0"s, "\0\0\0\0\0\xE4\0"s},
  };
  for (const auto& [text, expected] : rows) {
    EXPECT_EQ(RequestHandler::Unescape(text), expected) << text;
  }
}

TEST(RequestHandler, ParseQueryStringPart) {
  const RequestHandler handler(nullptr);
  const struct {
    std::string text;
    std::size_t position, length;
    std::string delimiter, expected;
    std::size_t after;
  } rows[] = {
      {"a=b", 0, 3, "=", "a", 2},   {"a=b", 2, 3, "&", "b", 4},   {"a=b", 3, 3, "=", "", 3},
      {"a=b", 9, 3, "=", "", 9},    {"", 0, 0, "=", "", 0},       {"=x", 0, 2, "=", "", 1},
      {"ab=c", 0, 2, "=", "ab", 3}, {"a--b", 0, 4, "--", "a", 2}, {"a=b=c", 2, 5, "=", "b", 4},
      {"ab=c", 0, 1, "=", "a", 2},
  };
  for (const auto& row : rows) {
    std::size_t position = row.position;
    EXPECT_EQ(handler.ParseQueryStringPart(row.text, position, row.length, row.delimiter),
              row.expected)
        << row.text;
    EXPECT_EQ(position, row.after) << row.text;
  }
}

TEST(RequestHandler, ParseQueryString) {
  const std::pair<std::string, std::string> rows[] = {{"", ""},
                                                      {"b=1&a=2", "[b|1][a|2]"},
                                                      {"a=1&b", "[a|1][b|]"},
                                                      {"=x", "[|x]"},
                                                      {"=", "[|]"},
                                                      {"&", "[&|]"},
                                                      {"a=1&", "[a|1]"},
                                                      {"a&b=c", "[a&b|c]"},
                                                      {"a=1&&b=2", "[a|1][&b|2]"},
                                                      {"a=b=c", "[a|b=c]"},
                                                      {"a=1&b=2&a=3", "[a|3][b|2]"},
                                                      {"x=a+b%20c", "[x|a b c]"},
                                                      {"%3D%26=%26&c=", "[=&|&][c|]"}};
  for (const auto& [text, expected] : rows) {
    WGLVariables variables;
    RequestHandler(&variables).ParseQueryString(text);
    std::string stored;
    for (const auto& [name, value] : variables) stored += "[" + name + "|" + value + "]";
    EXPECT_EQ(stored, expected) << text;
    RequestHandler(nullptr).ParseQueryString(text);
  }
}

// What the call has made reach the descriptor; text that stays in the stream's buffer is missing.
template <typename Call>
static std::string Arrived(Call call) {
  std::fflush(stdout);
  int ends[2];
  if (pipe2(ends, O_NONBLOCK) != 0) return "no pipe";
  const int saved = dup(STDOUT_FILENO);
  dup2(ends[1], STDOUT_FILENO);
  call();
  char text[4096];
  const ssize_t size = read(ends[0], text, sizeof text);
  dup2(saved, STDOUT_FILENO);
  for (int end : {saved, ends[0], ends[1]}) close(end);
  return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : std::string();
}

TEST(RequestHandler, WritesAndFlushes) {
  const std::string rest = "Pragma: no-cache\r\nCache-Control: no-cache\r\nExpires: -1\r\n\r\n";
  EXPECT_EQ(Arrived([] { RequestHandler::WriteHeaders("text/html"); }),
            "Content-Type: text/html\r\n" + rest);
  EXPECT_EQ(
      Arrived([] { RequestHandler::WriteHeaders("a/b; c=%s", "attachment; filename=\"%n\""); }),
      "Content-Type: a/b; c=%s\r\nContent-Disposition: attachment; filename=\"%n\"\r\n" + rest);
  EXPECT_EQ(Arrived([] {
              RequestHandler::WriteErrorPage("Missing: %u '%s'", 4294967295U, "%s");
              std::fflush(stdout);
            }),
            "Content-Type: text/plain\r\n" + rest + "Missing: 4294967295 '%s'\r\n");
}
