// SPDX-License-Identifier: MIT
//
// The value type of template evaluation: a text as a chain of parts. To join two texts moves list
// nodes instead of copying bytes.
//
// A WGLString is a plain two-word value without constructor or destructor, because the parser
// keeps it in a union and moves it with memcpy. Copies share the parts: exactly one of them may be
// appended to another string, cleared or combined; the others must then be forgotten.
#pragma once

#include <cstddef>
#include <cstdio>
#include <new>
#include <string_view>

class WGLStringPart {
 public:
  // A page makes and frees thousands of parts. They come from blocks, which are reused for further
  // parts until the process ends. Returns null when memory is short.
  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
  static void operator delete(void* part) noexcept;

  // Takes ownership of `text`, which malloc allocated; null means the empty text.
  explicit WGLStringPart(const char* text) : text_(text), next_(nullptr), borrowedSize_(kOwned) {}

  // Uses a text that somebody else owns, which need not end with a NUL byte.
  explicit WGLStringPart(std::string_view text)
      : text_(text.data()), next_(nullptr), borrowedSize_(text.size()) {}

  // Never null; owned by the part; "" for a text that is still borrowed.
  const char* GetString() const { return text_ != nullptr && borrowedSize_ == kOwned ? text_ : ""; }

  std::string_view View() const {
    return borrowedSize_ != kOwned ? std::string_view(text_, borrowedSize_) : GetString();
  }

  // Replaces a borrowed text by a copy. Returns false when memory is short.
  bool MakeOwn();

  WGLStringPart* Next() const { return next_; }
  void Link(WGLStringPart* next) { next_ = next; }

  // Deletes all following parts and frees the text; the caller deletes the part itself. Takes
  // constant stack, however long the chain is.
  void Destroy();

 private:
  static constexpr std::size_t kOwned = static_cast<std::size_t>(-1);

  const char* text_;
  WGLStringPart* next_;
  std::size_t borrowedSize_;  // kOwned if the part owns its text
};

class WGLString {
 public:
  // Makes this the empty string without freeing anything. Must be the first call on a new value.
  void Initialize();

  // Appends one part that takes ownership of `text`, which malloc allocated; null, for which memory
  // was short, appends nothing. When memory is short here, frees the text and leaves the string
  // unchanged. Both note a loss, see Response.
  void Append(const char* text);

  // Appends a part for a text without NUL bytes that somebody else keeps for as long as this string
  // lives. When memory is short, leaves the string unchanged and notes a loss.
  void AppendBorrowed(std::string_view text);

  // Moves all parts of `other` to the end of this string and leaves `other` empty.
  void Append(WGLString& other);

  // Frees everything and makes the string empty.
  void Clear();

  // Turns two or more parts, or a borrowed one, into one that owns its text. When memory is short,
  // changes nothing and notes a loss.
  void Combine();

  // The whole text, combined, NUL-terminated and owned by the string; "" for the empty string.
  const char* GetCombined();

  // Writes the text part by part, without copying it into the stream's buffer first. An error is
  // noted in the stream, as by fputs.
  void Write(FILE* stream) const;

 private:
  void Link(WGLStringPart* part);

  WGLStringPart* first_;
  WGLStringPart* last_;
};
