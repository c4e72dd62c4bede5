// SPDX-License-Identifier: MIT
#include "values/WGLString.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "base/PieceWriter.h"
#include "base/Response.h"

static_assert(std::is_trivial_v<WGLString>, "the parser's value stack grows with memcpy");

namespace {

void Free(const char* text) {
  std::free(const_cast<char*>(text));  // NOLINT: the text came from malloc
}

}  // namespace

#if defined(__SANITIZE_ADDRESS__)  // gcc
#define WGL_PARTS_ARE_WATCHED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)  // clang
#define WGL_PARTS_ARE_WATCHED
#endif
#endif

#ifdef WGL_PARTS_ARE_WATCHED

// Allocates every part by itself, so that the sanitizer can watch it.
void* WGLStringPart::operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
  return ::operator new(size, tag);
}

void WGLStringPart::operator delete(void* part) noexcept {
  ::operator delete(part);
}

#else

namespace {

struct FreePart {
  FreePart* next;
};

FreePart* gFreeParts = nullptr;

// The rest of the newest block, whose memory is not touched before a part needs it.
char* gNextPart = nullptr;
char* gPartsEnd = nullptr;

// Two memory pages, less what allocators put in front of a block.
constexpr std::size_t kBlockBytes = 8192 - sizeof(std::size_t);

}  // namespace

void* WGLStringPart::operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (FreePart* part = gFreeParts) {
    gFreeParts = part->next;
    return part;
  }
  if (gNextPart == gPartsEnd) {
    const std::size_t bytes = kBlockBytes / size * size;
    gNextPart = static_cast<char*>(std::malloc(bytes));
    gPartsEnd = gNextPart != nullptr ? gNextPart + bytes : nullptr;
    if (gNextPart == nullptr) return nullptr;
  }
  return std::exchange(gNextPart, gNextPart + size);
}

void WGLStringPart::operator delete(void* part) noexcept {
  if (part != nullptr) gFreeParts = new (part) FreePart{gFreeParts};
}

#endif

WGLSharedText* WGLSharedText::Make(std::string_view text) {
  void* memory = std::malloc(sizeof(WGLSharedText) + text.size() + 1);
  if (memory == nullptr) return nullptr;
  auto* shared = new (memory) WGLSharedText(text.size());
  auto* bytes = reinterpret_cast<char*>(shared + 1);
  std::memcpy(bytes, text.data(), text.size());
  bytes[text.size()] = '\0';
  return shared;
}

void WGLSharedText::Drop() {
  if (--users_ == 0) std::free(this);
}

void WGLLateText::Come(const char* text) {
  if (text == nullptr) Response::Lose();
  if (part_ == nullptr) return Free(text);
  part_->text_ = text;
  part_->borrowedSize_ = WGLStringPart::kOwned;
  part_ = nullptr;
}

void WGLStringPart::FreeText() {
  if (borrowedSize_ == kOwned) Free(text_);
  if (borrowedSize_ == kLate) late_->part_ = nullptr;
  if (borrowedSize_ == kShared) shared_->Drop();
}

bool WGLStringPart::MakeOwn() {
  if (borrowedSize_ == kOwned || borrowedSize_ == kShared) return true;
  if (borrowedSize_ == kLate) {
    Await();
    return true;
  }
  char* copy = strndup(text_, borrowedSize_);
  if (copy == nullptr) return false;
  text_ = copy;
  borrowedSize_ = kOwned;
  return true;
}

void WGLStringPart::Destroy() {
  WGLStringPart* part = next_;
  next_ = nullptr;
  while (part != nullptr) {
    WGLStringPart* following = part->next_;
    part->FreeText();
    delete part;
    part = following;
  }
  FreeText();
  text_ = nullptr;
  borrowedSize_ = kOwned;
}

void WGLString::Initialize() {
  first_ = nullptr;
  last_ = nullptr;
}

void WGLString::Link(WGLStringPart* part) {
  if (first_ == nullptr) {
    first_ = part;
  } else {
    last_->Link(part);
  }
  last_ = part;
}

void WGLString::Append(const char* text) {
  if (text == nullptr) return Response::Lose();
  auto* part = new (std::nothrow) WGLStringPart(text);
  if (part == nullptr) {
    Response::Lose();
    Free(text);
    return;
  }
  Link(part);
}

void WGLString::AppendBorrowed(std::string_view text) {
  auto* part = new (std::nothrow) WGLStringPart(text);
  if (part == nullptr) return Response::Lose();
  Link(part);
}

void WGLString::Append(WGLLateText& text) {
  auto* part = new (std::nothrow) WGLStringPart(text);
  if (part == nullptr) return Response::Lose();
  Link(part);
}

void WGLString::Append(WGLSharedText& text) {
  auto* part = new (std::nothrow) WGLStringPart(text);
  if (part == nullptr) return Response::Lose();
  Link(part);
}

void WGLString::Append(WGLString& other) {
  if (other.first_ != nullptr) {
    if (first_ == nullptr) {
      first_ = other.first_;
    } else if (last_->Next() == nullptr) {  // else a copy was appended to; its parts stay
      last_->Link(other.first_);
    }
    last_ = other.last_;
  }
  other.Initialize();
}

void WGLString::Clear() {
  if (first_ != nullptr) {
    first_->Destroy();
    delete first_;
  }
  Initialize();
}

void WGLString::Combine() {
  if (first_ == last_) {
    if (first_ != nullptr && !first_->MakeOwn()) Response::Lose();
    return;
  }
  std::size_t total = 0;
  for (WGLStringPart* part = first_; part != nullptr; part = part->Next()) {
    total += part->View().size();
  }
  auto* combined = static_cast<char*>(std::malloc(total + 1));
  auto* single = new (std::nothrow) WGLStringPart(combined);
  if (combined == nullptr || single == nullptr) {
    Response::Lose();
    std::free(combined);
    delete single;
    return;
  }
  char* end = combined;
  for (WGLStringPart* part = first_; part != nullptr; part = part->Next()) {
    const std::string_view text = part->View();
    std::memcpy(end, text.data(), text.size());
    end += text.size();
  }
  *end = '\0';
  Clear();
  first_ = single;
  last_ = single;
}

const char* WGLString::GetCombined() {
  Combine();
  return first_ != nullptr ? first_->GetString() : "";
}

void WGLString::Touch() const {
  for (const WGLStringPart* part = first_; part != nullptr; part = part->Next()) {
    const std::string_view text = part->View();
    if (!text.empty()) static_cast<void>(*static_cast<const volatile char*>(&text.back()));
  }
}

void WGLString::Write(FILE* stream) const {
  PieceWriter writer(stream);
  for (const WGLStringPart* part = first_; part != nullptr; part = part->Next()) {
    writer.Write(part->View());
  }
}
