// SPDX-License-Identifier: MIT
//
// The languages of this program are two letters, which are never aliases of locales. The C library
// doesn't know that: when gettext translates its first text, it reads and sorts the system's list
// of locale aliases. A statically linked program uses this function instead of the library's own;
// in a dynamically linked one it has no effect.

// The name that `name` is an alias of, null when it is not an alias.
extern "C" const char* _nl_expand_alias(const char* /*name*/) {
  return nullptr;
}
