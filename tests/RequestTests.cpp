// SPDX-License-Identifier: MIT
//
// The request handler's parts: decoding, fields, languages, what it writes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "request/RequestHandler.h"
#include "tests/TestFolder.h"
#include "wgl/WGLVariables.h"

using namespace std::string_literals;

TEST(RequestHandler, Unescape) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"%", "%"},
      {"%4", "%4"},
      {"%41", "A"},
      {"a%", "a%"},
      {"a%4", "a%4"},
      {"x%41y", "xAy"},
      {"%4a%4A", "JJ"},
      {"%zz", "\x53"},
      {"%ZZ", "\x53"},
      {"%G0", "\0"s},
      {"%4_", "\x40"},
      {"%_4", "\x04"},
      {"%%41", "\x04"s + "1"},
      {"%\xFF\x80", "\0"s},
      {"%00", "\0"s},
      {"%f0%FF", "\xF0\xFF"},
      {"a+b%2Bc", "a b+c"},
      {"%2B+", "+ "},
      {"%++", "\0"s},
      {"\xE4\0"s, "\xE4\0"s},
      {"%2541", "%41"},
      {"%/:", "\0"s},
      {"%@`", "\0"s},
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
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"a=1", "[a|1]"},
      {"b=1&a=2", "[b|1][a|2]"},
      {"a=1&b", "[a|1][b|]"},
      {"a&b=c", "[a&b|c]"},
      {"flag&x=1&y=2", "[flag&x|1][y|2]"},
      {"=x", "[|x]"},
      {"=", "[|]"},
      {"&", "[&|]"},
      {"a=1&", "[a|1]"},
      {"a=1&&b=2", "[a|1][&b|2]"},
      {"a=b=c", "[a|b=c]"},
      {"a=1&b=2&a=3", "[a|3][b|2]"},
      {"x=a+b%20c", "[x|a b c]"},
      {"a%3Db%26=%3D%26&c=1", "[a=b&|=&][c|1]"},
      {"n%00m=v%00w", "[n\0m|v\0w]"s},
      {"\xFF=\xC3\x28", "[\xFF|\xC3\x28]"},
  };
  for (const auto& [text, expected] : rows) {
    WGLVariables variables;
    RequestHandler(&variables).ParseQueryString(text);
    std::string stored;
    for (const auto& [name, value] : variables) stored += "[" + name + "|" + value + "]";
    EXPECT_EQ(stored, expected) << text;
    RequestHandler(nullptr).ParseQueryString(text);
  }
}

TEST(RequestHandler, Language) {
  const TestFolder folder(testing::TempDir() + "vistel");
  const std::string locale = folder.Path();
  for (const char* language : {"de", "fr", "FI", "deu", "d1", "é", "..", "d"}) {
    folder.Write(language + "/LC_MESSAGES/dom.mo"s, "");
  }
  folder.Write("es/LC_MESSAGES/other.mo", "");
  WGLVariables variables;
  const RequestHandler handler(&variables);
  const std::pair<std::string, bool> usable[] = {
      {"de", true},        {"fr", true},  {"FI", true},    {"fi", false},  {"DE", false},
      {"", false},         {"d", false},  {"d1", false},   {"deu", false}, {"..", false},
      {"\xC3\xA9", false}, {"es", false}, {"d\0"s, false}, {"/d", false},  {"xx", false},
  };
  for (const auto& [language, expected] : usable) {
    EXPECT_EQ(handler.IsValidLanguage(language, locale, "dom"), expected) << language;
  }
  EXPECT_TRUE(handler.IsValidLanguage("es", locale, "other"));

  const struct {
    const char *requested, *header, *expected;  // a null header is one that isn't there
  } rows[] = {
      {"de", nullptr, "de"},
      {"de", "fr", "de"},
      {"xx", "fr-FR,de;q=0.5", "fr"},
      {"xx", "es-ES,de;q=0.5", "de"},
      {"", nullptr, "en"},
      {"", "", "en"},
      {"deu", "fr", "fr"},
      {"DE", "", "en"},
      {"", "es, de", "en"},
      {"", "es,de", "de"},
      {"", ",,,de", "de"},
      {"", "de;q=0.1,fr;q=0.9", "de"},
      {"", " de", "en"},
      {"", "*", "en"},
      {"", "d,e,fr", "fr"},
      {"", "de,", "de"},
      {"", "english,fr", "fr"},
      {"", "FI", "FI"},
      {"", "deutsch", "de"},
      {"../de", ",", "en"},
  };
  for (const auto& row : rows) {
    variables.Set("_lang", row.requested);
    if (row.header != nullptr) {
      setenv("HTTP_ACCEPT_LANGUAGE", row.header, 1);
    } else {
      unsetenv("HTTP_ACCEPT_LANGUAGE");
    }
    EXPECT_EQ(handler.DetermineLanguage(locale, "dom"), row.expected)
        << row.requested << " / " << (row.header != nullptr ? row.header : "(none)");
  }
  setenv("HTTP_ACCEPT_LANGUAGE", "fr", 1);
  EXPECT_EQ(RequestHandler(nullptr).DetermineLanguage(locale, "dom"), "fr");
  unsetenv("HTTP_ACCEPT_LANGUAGE");
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
