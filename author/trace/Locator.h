// SPDX-License-Identifier: MIT
//
// Where the scanner is. It hands out tokens without their places, and counts lines only, so this
// class goes through the same text a second time: a token's spelling is known from its kind and
// value, so the tokens lead from place to place. Also keeps the stack of what is open.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "author/trace/Text.h"

// A string or command that has begun and not ended.
struct Construct {
  bool isString = false;
  Place place;
  std::uint32_t fileDepth = 0;  // how many files were open
  int command = 0;              // the token after "<~"; 0 before it
  int comparison = 0;           // the operator of an `if`; 0 before it
  bool inBranch = false;        // the `then` of an `if` has been read
};

// An oddity of the text that the scanner lets pass.
struct Oddity {
  enum class Kind {
    kSwallowed,    // "$" before what would have a meaning
    kNotVariable,  // "${" that is text
    kUnbalanced,   // the file closes what another one opened
    kLeftOpen,     // the file leaves something open
  };
  Kind kind;
  Place place;
  std::string excerpt;
};

class Locator {
 public:
  // Begins with a file: the main template, or one that is included. It is empty until its text is
  // there, which must outlive this object.
  void Open(std::uint32_t file);
  void Read(std::string_view text);

  // Follows the scanner past a token. `value` is that of a token with one.
  void Take(int token, std::string_view value);

  // Goes on to where the next token has to begin: past blanks and ends of files.
  void GoOn();

  Place Here() const;
  Place TokenPlace() const { return tokenPlace_; }
  int Token() const { return token_; }

  // The bytes that follow, for messages.
  std::string_view Rest() const;

  // Whether a file is being read, by the number it was opened with.
  bool IsOpen(std::uint32_t file) const;

  const std::vector<Construct>& Constructs() const { return constructs_; }
  const Construct& LastClosed() const { return lastClosed_; }
  const Construct& Before() const { return before_; }  // innermost before the last token

  // Whether a `set` here would run in a branch that is not chosen, too.
  bool IsInBranch() const;

  const std::vector<Oddity>& Oddities() const { return oddities_; }

 private:
  struct File {
    std::uint32_t number;
    std::string_view text;
    std::size_t position;
    std::uint32_t line;
    std::uint32_t column;
    std::size_t constructs;  // open at its beginning
  };

  bool IsCode() const { return !constructs_.empty() && !constructs_.back().isString; }
  void Skip(std::size_t bytes);
  void SkipIgnored();
  void SkipValue(std::string_view value);
  void NoteOddities(std::size_t begin, std::size_t end);
  void FollowConstructs(int token);
  void Close();

  std::vector<File> files_;
  std::vector<Construct> constructs_;
  std::vector<Oddity> oddities_;
  Construct lastClosed_;
  Construct before_;
  Place tokenPlace_;
  int token_ = 0;
};

// How a token is written; "" for one with a value. For messages, that of a name in a syntax error
// too: "T_END" gives "~>".
std::string_view SpellingOf(int token);
std::string SpellingOf(const std::string& tokenName);
