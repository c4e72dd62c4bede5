// SPDX-License-Identifier: MIT
//
// Languages here are two letters, which are no alias of anything. The C library doesn't know that:
// for the first text it translates, gettext reads and sorts the system's list of locale aliases.
// A statically linked program takes this function instead of the library's own; in a dynamically
// linked one it is without effect.

// The name that `name` stands for, null when it stands for itself.
extern "C" const char* _nl_expand_alias(const char* /*name*/) {
  return nullptr;
}
