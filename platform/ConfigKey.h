// SPDX-License-Identifier: MIT
//
// The names of settings and values, and the part of a table that a key may ask for:
//
//   key      = path [ "{" selector *( "," selector ) "}" [ "." name ] ] *( ":" option )
//   path     = name *( "." name )
//   selector = name "=" value        value: up to the next "," or "}"; "%XX" means a byte
//   option   = name "=" value        value: up to the next ":"
//   name     = letters, digits, "_" and "-"; at least one
//
// For example HomePlug.Stations{Role=remote}.MacAddress and System.Log:format=text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Config {
namespace Key {

// A name and the value that belongs to it.
struct Pair {
  std::string name;
  std::string value;
};

class Key {
 public:
  Key() = default;

  // Parse(text), for a caller that asks IsValid() afterwards.
  explicit Key(std::string_view text) { Parse(text); }

  // Reads one key, without blanks around it. Returns false when it is malformed; the key is then
  // empty and not valid. A "%" in a selector's value must be followed by two hexadecimal digits.
  bool Parse(std::string_view text);

  bool IsValid() const { return !path_.empty(); }

  const std::string& Path() const { return path_; }                  // "HomePlug.Stations"
  const std::vector<Pair>& Selectors() const { return selectors_; }  // values decoded
  const std::string& Column() const { return column_; }              // "" when none is named
  const std::vector<Pair>& Options() const { return options_; }      // in order

 private:
  bool ParseParts(std::string_view text);

  std::string path_;
  std::vector<Pair> selectors_;
  std::string column_;
  std::vector<Pair> options_;
};

// The keys of a query text, in order, each a part of `text`. They are separated by ";" outside
// braces. Leaves out the blanks (space, tab, CR, LF) around them, and empty keys.
std::vector<std::string_view> Split(std::string_view text);

}  // namespace Key
}  // namespace Config
