// SPDX-License-Identifier: MIT
#include "platform/RegExp.h"

#include <algorithm>
#include <cstddef>

namespace {

#ifdef REG_STARTEND

// Passes the length with the text, so that a NUL byte doesn't end it.
bool Execute(const regex_t& compiled, const std::string& text, std::vector<regmatch_t>* matches) {
  (*matches)[0].rm_so = 0;
  (*matches)[0].rm_eo = static_cast<regoff_t>(text.size());
  return regexec(&compiled, text.c_str(), matches->size(), matches->data(), REG_STARTEND) == 0;
}

#else

// Matches a text in which another control character stands for each NUL byte, which would end it;
// to a pattern that names no single control character they are all alike. A text that holds all of
// them matches nothing.
bool Execute(const regex_t& compiled, const std::string& text, std::vector<regmatch_t>* matches) {
  std::string withoutNul = text;
  if (text.find('\0') != std::string::npos) {
    char other = '\x01';
    while (other < ' ' && text.find(other) != std::string::npos) ++other;
    if (other == ' ') return false;
    std::replace(withoutNul.begin(), withoutNul.end(), '\0', other);
  }
  return regexec(&compiled, withoutNul.c_str(), matches->size(), matches->data(), 0) == 0;
}

#endif

}  // namespace

RegExp::RegExp(const std::string& pattern, int flags) : compiled_(), valid_(false) {
  int compileFlags = 0;
  if ((flags & kExtended) != 0) compileFlags |= REG_EXTENDED;
  if ((flags & kIgnoreCase) != 0) compileFlags |= REG_ICASE;
  valid_ = regcomp(&compiled_, pattern.c_str(), compileFlags) == 0;
}

RegExp::~RegExp() {
  if (valid_) regfree(&compiled_);
}

bool RegExp::Match(const std::string& text, std::vector<std::string>* groups) const {
  if (!valid_) return false;
  std::vector<regmatch_t> matches(groups != nullptr ? compiled_.re_nsub + 1 : 1);
  if (!Execute(compiled_, text, &matches)) return false;
  if (groups != nullptr) {
    groups->clear();
    for (const regmatch_t& match : matches) {
      if (match.rm_so < 0) {
        groups->emplace_back();
      } else {
        groups->push_back(text.substr(static_cast<std::size_t>(match.rm_so),
                                      static_cast<std::size_t>(match.rm_eo - match.rm_so)));
      }
    }
  }
  return true;
}
