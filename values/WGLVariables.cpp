// SPDX-License-Identifier: MIT
#include "values/WGLVariables.h"

#include <algorithm>

#include "base/Characters.h"
#include "values/WGLEscaper.h"

namespace {

// The sender of a request chooses the names of its fields. The multiplier differs from process to
// process, as addresses do, so that no sender can choose names that collide.
std::size_t Hash(std::string_view name) {
  static const char anchor = 0;
  constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
  const std::uint64_t multiplier = (reinterpret_cast<std::uintptr_t>(&anchor) * kGoldenRatio) | 1;
  std::uint64_t hash = name.size();
  for (char byte : name) hash = (hash + static_cast<unsigned char>(byte) + 1) * multiplier;
  // The upper bits depend on all bytes, the lower ones on few.
  return static_cast<std::size_t>(hash >> 32);
}

}  // namespace

WGLVariables::WGLVariables() {
  entries_.reserve(kInitialEntries);
}

// The slot that holds the name, or the free one where it belongs.
std::size_t WGLVariables::Slot(std::string_view name) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = Hash(name) & mask;
  while (slots_[slot] != 0 && entries_[slots_[slot] - 1].first != name) slot = (slot + 1) & mask;
  return slot;
}

// The number of entries for an absent name.
std::size_t WGLVariables::IndexedPlace(std::string_view name) const {
  const std::uint32_t found = slots_[Slot(name)];
  return found != 0 ? found - 1 : entries_.size();
}

// Adds the last entry to the index.
void WGLVariables::Index() {
  if (entries_.size() * 2 <= slots_.size()) {
    slots_[Slot(entries_.back().first)] = static_cast<std::uint32_t>(entries_.size());
    return;
  }
  slots_.assign(std::max(slots_.size() * 2, kLinearEntries * 4), 0);
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    slots_[Slot(entries_[i].first)] = static_cast<std::uint32_t>(i + 1);
  }
}

WGLVariables::iterator WGLVariables::find(std::string_view name) {
  if (!slots_.empty()) {
    return entries_.begin() + static_cast<Entries::difference_type>(IndexedPlace(name));
  }
  return std::find_if(entries_.begin(), entries_.end(),
                      [name](const Entry& entry) { return entry.first == name; });
}

WGLVariables::const_iterator WGLVariables::find(std::string_view name) const {
  if (!slots_.empty()) {
    return entries_.begin() + static_cast<Entries::difference_type>(IndexedPlace(name));
  }
  return std::find_if(entries_.begin(), entries_.end(),
                      [name](const Entry& entry) { return entry.first == name; });
}

std::string WGLVariables::Get(std::string_view name, std::string_view escaping) const {
  const auto entry = find(name);
  return entry != end() ? WGLEscaper(escaping).Escape(entry->second) : std::string();
}

void WGLVariables::Set(std::string_view name, std::string_view value) {
  const auto entry = find(name);
  if (entry != end()) {
    entry->second = value;
  } else {
    entries_.emplace_back(name, value);
    if (entries_.size() > kLinearEntries) Index();
  }
}

std::string WGLVariables::ReplaceSpecialChars(const std::string& text) {
  std::string result = text;
  for (char& byte : result) {
    if (byte != '_' && !IsAsciiAlphanumeric(byte)) byte = '_';
  }
  return result;
}
