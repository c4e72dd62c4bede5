// SPDX-License-Identifier: MIT
#include "values/WGLEscapedValues.h"

#include <cstring>

#include "base/Response.h"

WGLEscapedValues::~WGLEscapedValues() {
  for (Kept& kept : kept_) Drop(kept);
}

void WGLEscapedValues::Drop(Kept& kept) {
  if (kept.value != nullptr) kept.value->Drop();
  if (kept.escaped != nullptr) kept.escaped->Drop();
  kept = Kept();
}

void WGLEscapedValues::Keep(Kept& kept, std::string_view value, const WGLEscaper& escaper) {
  char escaped[kMaxBytes * WGLEscaper::kMaxGrowth];
  const char* const end = escaper.EscapeTo(escaped, value);
  const std::string_view text(escaped, strnlen(escaped, static_cast<std::size_t>(end - escaped)));
  kept.mode = escaper.ModeNumber();
  kept.value = WGLSharedText::Make(value);
  if (kept.value != nullptr && text == value) {
    kept.escaped = kept.value;
    kept.escaped->Use();
  } else {
    kept.escaped = WGLSharedText::Make(text);
  }
}

void WGLEscapedValues::AppendTo(WGLString& text, const std::string& value,
                                const WGLEscaper& escaper, std::size_t variable) {
  if (value.size() > kMaxBytes) {
    const std::string escaped = escaper.Escape(value);
    return text.Append(strdup(escaped.c_str()));  // NOLINT: the string owns the copy
  }
  Kept& kept = kept_[(variable + escaper.ModeNumber() * kPlacesBetweenModes) % kPlaces];
  if (kept.value == nullptr || kept.mode != escaper.ModeNumber() || kept.value->View() != value) {
    Drop(kept);
    Keep(kept, value, escaper);
  }
  if (kept.escaped == nullptr) return Response::Lose();
  text.Append(*kept.escaped);
}
