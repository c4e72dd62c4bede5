// SPDX-License-Identifier: MIT
//
// The values of variables on their way into a page. A page shows the same few values again and
// again, so a short value that is shown once more shares its escaped text with the earlier places.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "values/WGLEscaper.h"
#include "values/WGLString.h"

class WGLEscapedValues {
 public:
  WGLEscapedValues() = default;
  ~WGLEscapedValues();
  WGLEscapedValues(const WGLEscapedValues&) = delete;
  WGLEscapedValues& operator=(const WGLEscapedValues&) = delete;

  // Appends the value, escaped, up to its first NUL byte. `variable` is the variable's number: of
  // each number and mode, the last text is kept until another one needs its place.
  void AppendTo(WGLString& text, const std::string& value, const WGLEscaper& escaper,
                std::size_t variable);

 private:
  // Both texts are the same object if nothing was escaped.
  struct Kept {
    unsigned mode = 0;
    WGLSharedText* value = nullptr;  // null: nothing is kept
    WGLSharedText* escaped = nullptr;
  };

  // Copies of larger values would take too much memory.
  static constexpr std::size_t kMaxBytes = 128;

  // Two modes of one variable, or neighbouring variables, have different places.
  static constexpr std::size_t kPlaces = 64;
  static constexpr std::size_t kPlacesBetweenModes = 21;

  static void Drop(Kept& kept);
  static void Keep(Kept& kept, std::string_view value, const WGLEscaper& escaper);

  Kept kept_[kPlaces];
};

// Those of this process's request.
extern WGLEscapedValues gEscapedValues;
