// SPDX-License-Identifier: MIT
#include "author/check/PassResult.h"

#include <cstring>
#include <type_traits>

namespace {

// Writer and Reader go through the same fields, so that they can't differ in their order. A number
// is its bytes in memory, because one program writes and reads; texts and lists follow their size.
class Writer {
 public:
  void Take(const void* bytes, std::size_t size) {
    output_.append(static_cast<const char*>(bytes), size);
  }
  template <typename List>
  void TakeSize(const List& list) {
    const std::size_t size = list.size();
    Take(&size, sizeof size);
  }

  std::string& Output() { return output_; }

 private:
  std::string output_;
};

class Reader {
 public:
  explicit Reader(std::string_view input) : input_(input) {}

  void Take(void* bytes, std::size_t size) {
    isSound_ &= size <= input_.size();
    if (!isSound_ || size == 0) return;
    std::memcpy(bytes, input_.data(), size);
    input_.remove_prefix(size);
  }
  template <typename List>
  void TakeSize(List& list) {
    std::size_t size = 0;
    Take(&size, sizeof size);
    isSound_ &= size <= input_.size();
    if (isSound_) list.resize(size);
  }

  bool IsWhole() const { return isSound_ && input_.empty(); }

 private:
  std::string_view input_;
  bool isSound_ = true;
};

template <typename Way, typename Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
void Exchange(Way& way, Number& number) {
  way.Take(&number, sizeof number);
}

template <typename Way>
void Exchange(Way& way, std::string& text) {
  way.TakeSize(text);
  way.Take(text.data(), text.size());
}

template <typename Way>
void Exchange(Way& way, Use& use) {
  Exchange(way, use.name);
  Exchange(way, use.file);
  Exchange(way, use.line);
  Exchange(way, use.column);
}

template <typename Way>
void Exchange(Way& way, LandedTranslation& landed) {
  Exchange(way, landed.text);
  Exchange(way, landed.signs);
  Exchange(way, landed.where);
}

template <typename Way>
void Exchange(Way& way, Finding& finding) {
  Exchange(way, finding.file);
  Exchange(way, finding.line);
  Exchange(way, finding.column);
  Exchange(way, finding.rule);
  Exchange(way, finding.message);
}

template <typename Way, typename Item>
void Exchange(Way& way, std::vector<Item>& list) {
  way.TakeSize(list);
  for (Item& item : list) Exchange(way, item);
}

template <typename Way>
void Exchange(Way& way, PassResult& result) {
  Exchange(way, result.always);
  Exchange(way, result.asPage);
  Exchange(way, result.branches);
  Exchange(way, result.includes);
  Exchange(way, result.assigned);
  Exchange(way, result.read);
  Exchange(way, result.unset);
  Exchange(way, result.given);
  Exchange(way, result.texts);
  Exchange(way, result.landed);
  Exchange(way, result.sentences);
  Exchange(way, result.translatesForeign);
}

}  // namespace

std::string Pack(PassResult result) {
  Writer writer;
  Exchange(writer, result);
  return std::move(writer.Output());
}

bool Unpack(std::string_view bytes, PassResult& result) {
  Reader reader(bytes);
  Exchange(reader, result);
  return reader.IsWhole();
}
