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
#include <cstdint>
#include <cstdio>
#include <new>
#include <string_view>

class WGLStringPart;

// A text that will be a part of a string, but comes later. It must outlive the part, or come
// before.
class WGLLateText {
 public:
  virtual ~WGLLateText() = default;

  // Makes it come, by a call of Come. Whoever reads the string calls this.
  virtual void Await() = 0;

  // Gives the part its text, of which it takes ownership; null when memory was short, which is
  // noted as a loss. Frees the text if the part was deleted meanwhile.
  void Come(const char* text);

 private:
  friend class WGLStringPart;
  WGLStringPart* part_ = nullptr;  // null if there is none any more
};

// A text that several parts show. The last of its users frees it.
class WGLSharedText {
 public:
  // A copy, whose first user is the caller; null when memory is short. At most 4 GB.
  static WGLSharedText* Make(std::string_view text);

  void Use() { ++users_; }
  void Drop();

  // A NUL byte follows it.
  std::string_view View() const { return {reinterpret_cast<const char*>(this + 1), size_}; }

 private:
  explicit WGLSharedText(std::size_t size) : users_(1), size_(static_cast<std::uint32_t>(size)) {}

  std::uint32_t users_;
  std::uint32_t size_;  // of the text, which follows this object
};

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

  // Becomes a user of the text.
  explicit WGLStringPart(WGLSharedText& text)
      : shared_(&text), next_(nullptr), borrowedSize_(kShared) {
    text.Use();
  }

  // Will own the text that comes.
  explicit WGLStringPart(WGLLateText& text) : late_(&text), next_(nullptr), borrowedSize_(kLate) {
    text.part_ = this;
  }

  // Never null; "" for a text that is still borrowed. A late text comes first, here and in the next
  // two functions.
  const char* GetString() const {
    Await();
    if (borrowedSize_ == kShared) return shared_->View().data();
    return text_ != nullptr && borrowedSize_ == kOwned ? text_ : "";
  }

  std::string_view View() const {
    Await();
    if (borrowedSize_ == kShared) return shared_->View();
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
  friend class WGLLateText;

  static constexpr std::size_t kOwned = static_cast<std::size_t>(-1);
  static constexpr std::size_t kLate = kOwned - 1;
  static constexpr std::size_t kShared = kOwned - 2;

  void Await() const {
    if (borrowedSize_ == kLate) late_->Await();
  }
  void FreeText();

  union {
    const char* text_;
    WGLLateText* late_;
    WGLSharedText* shared_;
  };
  WGLStringPart* next_;
  std::size_t
      borrowedSize_;  // kOwned if the part owns its text, kLate if it has none yet, or kShared
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

  // Appends a part for a text that comes later, see WGLLateText. When memory is short, leaves the
  // string unchanged and notes a loss.
  void Append(WGLLateText& text);

  // Appends a part that is a user of the text. When memory is short, leaves the string unchanged
  // and notes a loss.
  void Append(WGLSharedText& text);

  // Moves all parts of `other` to the end of this string and leaves `other` empty.
  void Append(WGLString& other);

  // Frees everything and makes the string empty.
  void Clear();

  // Turns two or more parts, or a borrowed one, into one with a NUL byte after its text. When
  // memory is short, changes nothing and notes a loss.
  void Combine();

  // The whole text, combined and NUL-terminated; "" for the empty string. It is valid as long as
  // the string stays as it is.
  const char* GetCombined();

  // The same without a NUL byte: a text of one part is not copied.
  std::string_view GetView() {
    if (first_ != last_) Combine();
    return first_ != nullptr ? first_->View() : std::string_view();
  }

  // Reads something of each part, so that lost memory is noticed here.
  void Touch() const;

  // Writes the text part by part, without copying it into the stream's buffer first. An error is
  // noted in the stream, as by fputs.
  void Write(FILE* stream) const;

 private:
  void Link(WGLStringPart* part);

  WGLStringPart* first_;
  WGLStringPart* last_;
};
