// SPDX-License-Identifier: MIT
//
// The state of one request: a store of byte strings with unique names, in the order of insertion.
// Names are compared byte by byte. Lookups are linear, which is best for the few dozen variables of
// a page; a request with many fields gets an index.
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

  // In the order of insertion. A Set that adds a name invalidates all iterators. Don't change
  // names.
  iterator begin() { return entries_.begin(); }
  iterator end() { return entries_.end(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }

  // The entry with that name, or end().
  iterator find(std::string_view name);
  const_iterator find(std::string_view name) const;

  // The value, escaped by a WGLEscaper of the mode `escaping`; "" for an absent name. The second
  // argument is not a default value.
  std::string Get(std::string_view name, std::string_view escaping) const;

  // Replaces the value in place, or appends a new entry.
  void Set(std::string_view name, std::string_view value);

  // A copy of `text` that is safe in a variable name: every byte but "_" and ASCII letters and
  // digits becomes "_". Different texts may give the same name.
  static std::string ReplaceSpecialChars(const std::string& text);

 private:
  static constexpr std::size_t kInitialEntries = 32;

  // With more entries than this, lookups use the index; at about this number it becomes faster.
  static constexpr std::size_t kLinearEntries = 128;

  std::size_t IndexedPlace(std::string_view name) const;
  std::size_t Slot(std::string_view name) const;
  void Index();

  Entries entries_;

  // Open addressing: an entry's place plus 1, or 0 for a free slot. The size is a power of two, at
  // least twice the number of entries; 0 while there are few entries.
  std::vector<std::uint32_t> slots_;
};

// The variables of this process's request.
extern WGLVariables gVariables;
