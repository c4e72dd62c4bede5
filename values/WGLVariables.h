// SPDX-License-Identifier: MIT
//
// The state of one request: an insertion-ordered store of uniquely named byte strings. Names are
// compared byte by byte. Lookups are linear, the right cost for the few dozen variables of a page;
// a request of a hundred thousand fields gets an index.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class WGLVariables {
 public:
  using Entry = std::pair<std::string, std::string>;  // name, value
  using Entries = std::vector<Entry>;
  using iterator = Entries::iterator;
  using const_iterator = Entries::const_iterator;

  WGLVariables();

  // In insertion order. A Set that adds a name invalidates every iterator. Names may not be
  // changed.
  iterator begin() { return entries_.begin(); }
  iterator end() { return entries_.end(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }

  // The entry of that name, or end().
  iterator find(std::string_view name);
  const_iterator find(std::string_view name) const;

  // The value, passed through a WGLEscaper of the mode `escaping`; "" for an absent name. The
  // second argument is never a default value.
  std::string Get(std::string_view name, std::string_view escaping) const;

  // Replaces the value in place, or appends a new entry.
  void Set(std::string_view name, std::string_view value);

  // A copy of `text` that is safe as part of a variable name: every byte but "_" and ASCII letters
  // and digits becomes "_". Different texts may give the same name.
  static std::string ReplaceSpecialChars(const std::string& text);

 private:
  static constexpr std::size_t kInitialEntries = 32;

  // More entries than this are looked up through the index; about where that begins to pay.
  static constexpr std::size_t kLinearEntries = 128;

  std::size_t IndexedPlace(std::string_view name) const;
  std::size_t Slot(std::string_view name) const;
  void Index();

  Entries entries_;

  // Open addressing: an entry's place plus 1, or 0 where there is none. The size is a power of two,
  // at least twice the number of entries; 0 while there are few.
  std::vector<std::uint32_t> slots_;
};

// The variables of the request that this process serves.
extern WGLVariables gVariables;
