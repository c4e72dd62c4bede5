// SPDX-License-Identifier: MIT
#include "tests/fuzz/ReferenceScanner.h"

#include <cstring>
#include <vector>

#include "WGLParser.hpp"
#include "base/Characters.h"

namespace {

enum class Mode { kText, kCode };

struct Word {
  const char* text;
  int token;
};
// "get" comes before "ge", with which it begins.
constexpr Word kKeywords[] = {{"+", T_PLUS},      {"-", T_MINUS},   {"include", T_INCLUDE},
                              {"trans", T_TRANS}, {"set", T_SET},   {"get", T_GET},
                              {"query", T_QUERY}, {"do", T_DO},     {"rowcount", T_ROWCOUNT},
                              {"raw", T_RAW},     {"json", T_JSON}, {"if", T_IF},
                              {"then", T_THEN},   {"else", T_ELSE}, {"eq", T_EQ},
                              {"ne", T_NE},       {"gt", T_GT},     {"ge", T_GE},
                              {"lt", T_LT},       {"le", T_LE}};
constexpr Word kModifiers[] = {
    {"}", T_VARNAME}, {" htmltext}", T_VARNAME_HTMLTEXT}, {" htmlesc}", T_VARNAME_HTMLESC}};

bool IsDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

class Scanner {
 public:
  Scanner(const std::string& input, const std::string& fileName)
      : input_(input), fileName_(fileName) {}

  ReferenceTokens Scan() {
    while (exitStatus_ == 0 && position_ < input_.size()) ScanNext();
    if (exitStatus_ == 0) list_ += LineEntry(line_);
    return {list_, exitStatus_};
  }

 private:
  bool Follows(const char* text) const {
    return input_.compare(position_, std::strlen(text), text) == 0;
  }
  char At(std::size_t position) const { return position < input_.size() ? input_[position] : '\0'; }

  void Token(int token, std::size_t size, const std::string& name = "") {
    list_ += TokenEntry(token, name);
    position_ += size;
  }
  void Text(std::size_t size) {
    for (; size > 0; --size, ++position_) {
      if (input_[position_] != '\0') list_ += input_[position_];
    }
  }
  void Push(Mode mode, int token, std::size_t size) {
    modes_.push_back(mode);
    Token(token, size);
  }
  void Pop(int token, std::size_t size) {
    if (modes_.size() == 1) return End(2, "start-condition stack underflow\n");
    modes_.pop_back();
    Token(token, size);
  }
  void End(int exitStatus, const std::string& message) {
    list_ += message;
    exitStatus_ = exitStatus;
  }

  void ScanNext() {
    if (Follows("<~")) return Push(Mode::kCode, T_BEGIN, 2);
    if (Follows("~>")) return Pop(T_END, 2);
    if (ScanVariable()) return;
    modes_.back() == Mode::kText ? ScanText() : ScanCode();
  }

  bool ScanVariable() {
    const std::size_t start = position_ + 2;
    if (!Follows("${") || IsDigit(At(start))) return false;
    if (modes_.back() == Mode::kText && Follows("${ROW}")) return false;
    std::size_t end = start;
    while (IsAsciiAlphanumeric(At(end)) || At(end) == '_') ++end;
    for (const Word& modifier : kModifiers) {
      const std::size_t size = std::strlen(modifier.text);
      if (end == start || input_.compare(end, size, modifier.text) != 0) continue;
      Token(modifier.token, end + size - position_, input_.substr(start, end - start));
      return true;
    }
    return false;
  }

  void ScanText() {
    if (Follows("`")) return Pop(T_QUOTE, 1);
    if (Follows("${")) return Text(PlaceholderSize());
    if (Follows("$") && position_ + 1 < input_.size()) {
      return Text(2);  // a newline among them is not counted
    }
    if (Follows("\n")) ++line_;
    Text(1);
  }

  // The size of "${ROW}", "${12}" or "${12X}" at the current place, 1 if there is only a "$".
  std::size_t PlaceholderSize() const {
    if (Follows("${ROW}")) return std::strlen("${ROW}");
    if (!IsDigit(At(position_ + 2)) || !IsDigit(At(position_ + 3))) return 1;
    const char set = At(position_ + 4);
    const std::size_t end = position_ + (set >= 'A' && set <= 'Z' ? 5 : 4);
    return At(end) == '}' ? end + 1 - position_ : 1;
  }

  void ScanCode() {
    if (Follows("`")) return Push(Mode::kText, T_QUOTE, 1);
    if (Follows("\n")) ++line_;
    if (std::memchr(" \t\r\n", input_[position_], 4) != nullptr) {
      ++position_;
      return;
    }
    for (const Word& keyword : kKeywords) {
      if (Follows(keyword.text)) return Token(keyword.token, std::strlen(keyword.text));
    }
    End(1, "WGL error (line " + std::to_string(line_) + " in file '" + fileName_ +
               "'): unmatched character\n\n");
  }

  const std::string& input_;
  const std::string& fileName_;
  std::size_t position_ = 0;
  std::vector<Mode> modes_ = {Mode::kText};
  unsigned line_ = 1;
  std::string list_;
  int exitStatus_ = 0;
};

}  // namespace

ReferenceTokens ScanByReference(const std::string& input, const std::string& fileName) {
  return Scanner(input, fileName).Scan();
}

std::string TokenEntry(int token, const std::string& name) {
  return "\1" + std::to_string(token) + name + ";";
}

std::string LineEntry(unsigned line) {
  return "\1" + std::to_string(line);
}
