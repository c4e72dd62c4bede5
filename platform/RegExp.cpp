// SPDX-License-Identifier: MIT
#include "platform/RegExp.h"

#include <cstddef>

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
  // REG_STARTEND passes the length with the text, so that a NUL byte doesn't end it.
  matches[0].rm_so = 0;
  matches[0].rm_eo = static_cast<regoff_t>(text.size());
  if (regexec(&compiled_, text.c_str(), matches.size(), matches.data(), REG_STARTEND) != 0) {
    return false;
  }
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
