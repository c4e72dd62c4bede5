// SPDX-License-Identifier: MIT
//
// The outcome of an operation: success, or a failure with its kind and a whole sentence. The rule
// to know: the subject of the sentence, such as a key, another name or a line of a file, is kept
// beside the sentence and is never part of it.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "sysmgr/log/Sentences.h"

class [[nodiscard]] Outcome {
 public:
  // Success.
  Outcome() = default;

  // A failure. Not explicit, so that a function can return a sentence.
  Outcome(Sentence sentence, std::initializer_list<std::string_view> limits = {})
      : text_(Sentences::TextOf(sentence, limits)), kind_(Sentences::KindOf(sentence)) {}

  // A failure with a sentence of the model file.
  static Outcome InWordsOfTheModel(std::string text);

  bool IsSuccess() const { return kind_ == OutcomeKind::kSuccess; }

  // Sets the subject of the sentence. Keys and names hold no control characters; a name is cut to
  // Log::kMaxNameBytes.
  Outcome AboutKey(std::string_view key) &&;
  Outcome AboutName(std::string_view name) &&;  // a column, a parameter, a line's own text
  Outcome AboutLine(std::size_t line) &&;       // of a file, from 1

  OutcomeKind Kind() const { return kind_; }
  const std::string& Text() const { return text_; }  // "" for success
  const std::string& Key() const { return key_; }    // "" if its subject is not a key
  const std::string& Name() const { return name_; }  // "" if its subject is not a name
  std::size_t Line() const { return line_; }         // 0 if its subject is not a line

  // The sentence after its key and name, for a log: "key 'a.b', 'column': There is no such column."
  std::string Record() const;

 private:
  std::string text_;
  std::string key_;
  std::string name_;
  std::size_t line_ = 0;
  OutcomeKind kind_ = OutcomeKind::kSuccess;
};
