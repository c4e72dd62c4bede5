// SPDX-License-Identifier: MIT
#include "author/trace/Alternatives.h"

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>

#include "base/Number.h"
#include "values/WGLEscaper.h"

namespace {

// What a text takes at most: combinations of foreign values, and pieces looked at.
constexpr std::size_t kMaxCombinations = 2048;
constexpr std::size_t kMaxSteps = 200000;

// The name under which a foreign piece, or a condition that nobody can decide, is tried.
std::string NameOf(const Piece& piece) {
  return (piece.kind == Piece::Kind::kRequest ? "request " : "device ") + piece.text;
}
std::string NameOf(const void* choice) {
  return "choice " + std::to_string(reinterpret_cast<std::uintptr_t>(choice));
}
constexpr char kTrue[] = "1";

// What is tried: its possible values and, in one combination of all, the chosen one; null when it
// is none of them.
struct Subject {
  std::set<std::string> candidates;
  const std::string* chosen = nullptr;
};

class Trial {
 public:
  explicit Trial(const std::vector<Constraint>& constraints) : constraints_(constraints) {}

  std::vector<std::string> Run(const Text& text) {
    Collect(text);
    for (const Constraint& constraint : constraints_) TakeIfShared(constraint);
    std::size_t combinations = 1;
    for (auto& [name, subject] : subjects_) {
      combinations *= subject.candidates.size() + 1;
      if (combinations > kMaxCombinations) return {std::string(1, kForeignMark)};
    }
    std::vector<std::string> values;
    for (std::size_t number = 0; number < combinations; ++number) {
      Choose(number);
      if (!KeepsConstraints()) continue;
      const std::string value = ValueOf(text);
      if (steps_ > kMaxSteps) return {std::string(1, kForeignMark)};
      if (std::find(values.begin(), values.end(), value) == values.end()) values.push_back(value);
    }
    if (values.empty()) values.emplace_back(1, kForeignMark);
    return values;
  }

 private:
  // Candidates of all subjects in the conditions of a text.
  void Collect(const Text& text) {
    if (!walk_.IsFirst(text)) return;
    for (const Piece& piece : text.pieces) {
      if (piece.condition != nullptr) {
        CollectCondition(*piece.condition);
      } else if (piece.kind == Piece::Kind::kChoice) {
        subjects_[NameOf(piece.first.get())].candidates.insert(kTrue);
      }
      if (piece.first != nullptr) Collect(*piece.first);
      if (piece.second != nullptr) Collect(*piece.second);
    }
  }

  void CollectCondition(const Condition& condition) {
    std::string constant;
    if (IsLiteral(*condition.right, constant)) {
      AddCandidate(*condition.left, constant, condition.IsNumeric());
    } else if (IsLiteral(*condition.left, constant)) {
      AddCandidate(*condition.right, constant, condition.IsNumeric());
    } else {
      subjects_[NameOf(&condition)].candidates.insert(kTrue);
    }
    Collect(*condition.left);
    Collect(*condition.right);
  }

  void AddCandidate(const Text& text, const std::string& constant, bool numeric) {
    for (const Piece& piece : text.pieces) {
      if (piece.IsForeign()) {
        std::set<std::string>& candidates = subjects_[NameOf(piece)].candidates;
        candidates.insert(constant);
        if (numeric) {
          const long long number = WGLToInt(constant.c_str());
          for (const long long near : {number - 1, number + 1}) {
            candidates.insert(std::to_string(near));
          }
        }
      } else if (piece.kind == Piece::Kind::kValue && ++steps_ <= kMaxSteps) {
        AddCandidate(*piece.first, constant, numeric);
      }
    }
  }

  // A constraint matters only if it is about the same foreign texts.
  void TakeIfShared(const Constraint& constraint) {
    const std::vector<Constraint> none;
    Trial other(none);
    other.Collect(*constraint.first);
    const bool shared =
        std::any_of(other.subjects_.begin(), other.subjects_.end(),
                    [this](const auto& subject) { return subjects_.count(subject.first) != 0; });
    if (!shared) return;
    Collect(*constraint.first);
    shared_.push_back(&constraint);
  }

  // The combination of that number. A subject without a value is foreign.
  void Choose(std::size_t number) {
    for (auto& [name, subject] : subjects_) {
      const std::size_t index = number % (subject.candidates.size() + 1);
      number /= subject.candidates.size() + 1;
      const bool chosen = index < subject.candidates.size();
      subject.chosen =
          chosen ? &*std::next(subject.candidates.begin(), static_cast<std::ptrdiff_t>(index))
                 : nullptr;
    }
  }

  // The subject of a piece or choice at that address, null for none. Looks its name up only once,
  // which is after all subjects have been collected.
  template <typename Named>
  const Subject* SubjectOf(const void* address, const Named& named) {
    const auto [known, isNew] = known_.try_emplace(address, nullptr);
    if (isNew) {
      const auto found = subjects_.find(NameOf(named));
      if (found != subjects_.end()) known->second = &found->second;
    }
    return known->second;
  }

  bool KeepsConstraints() {
    return std::all_of(shared_.begin(), shared_.end(), [this](const Constraint* known) {
      const std::string value = ValueOf(*known->first);
      return !IsConcrete(value) || value == known->second;
    });
  }

  std::string ValueOf(const Text& text) {
    std::string value;
    AppendValue(text, value);
    return value;
  }

  void AppendValue(const Text& text, std::string& value) {
    for (const Piece& piece : text.pieces) {
      if (++steps_ > kMaxSteps) break;
      if (piece.escaping == Escaping::kNone || piece.kind == Piece::Kind::kLiteral) {
        AppendValue(piece, value);
        continue;
      }
      std::string own;
      AppendValue(piece, own);
      value += Escaped(std::move(own), piece);
    }
  }

  static std::string Escaped(std::string value, const Piece& piece) {
    if (!IsConcrete(value)) {
      if (piece.escaping == Escaping::kUrl)
        std::replace(value.begin(), value.end(), kForeignMark, kPlainMark);
      return value;
    }
    const char* const mode = piece.escaping == Escaping::kHtml  ? "htmltext"
                             : piece.escaping == Escaping::kUrl ? "htmlesc"
                                                                : "json";
    return WGLEscaper(mode).Escape(value);
  }

  void AppendValue(const Piece& piece, std::string& value) {
    switch (piece.kind) {
      case Piece::Kind::kLiteral:
        value += piece.text;
        break;
      case Piece::Kind::kValue:
        AppendValue(*piece.first, value);
        break;
      case Piece::Kind::kChoice:
        AppendValue(Holds(piece) ? *piece.first : *piece.second, value);
        break;
      case Piece::Kind::kRequest:
      case Piece::Kind::kDevice: {
        const Subject* const subject = SubjectOf(&piece, piece);
        if (subject != nullptr && subject->chosen != nullptr) {
          value += *subject->chosen;
        } else {
          value += IsHarmless(piece.type) ? kPlainMark : kForeignMark;
        }
        break;
      }
      default:
        value += kForeignMark;
    }
  }

  // The value of a text; in `value`, unless it is in the text already.
  const std::string& Operand(const Text& text, std::string& value) {
    const bool isLiteral =
        text.pieces.size() == 1 && text.pieces.front().kind == Piece::Kind::kLiteral;
    if (isLiteral) return text.pieces.front().text;
    return value = ValueOf(text);
  }

  bool Holds(const Piece& choice) {
    const void* const first = choice.first.get();
    const void* const named = choice.condition == nullptr ? first : choice.condition.get();
    const Subject* const subject = SubjectOf(named, named);
    if (subject != nullptr || choice.condition == nullptr) {
      return subject != nullptr && subject->chosen != nullptr;
    }
    const Condition& condition = *choice.condition;
    std::string leftValue;
    std::string rightValue;
    const std::string& left = Operand(*condition.left, leftValue);
    const std::string& right = Operand(*condition.right, rightValue);
    if (!condition.IsNumeric()) {
      const bool equal = left == right && IsConcrete(left);
      return equal == (condition.comparison == Condition::Operator::kEqual);
    }
    const int difference = WGLToInt(left.c_str()) - WGLToInt(right.c_str());
    switch (condition.comparison) {
      case Condition::Operator::kGreater:
        return difference > 0;
      case Condition::Operator::kGreaterEqual:
        return difference >= 0;
      case Condition::Operator::kLess:
        return difference < 0;
      default:
        return difference <= 0;
    }
  }

  const std::vector<Constraint>& constraints_;
  std::vector<const Constraint*> shared_;
  std::map<std::string, Subject> subjects_;
  std::unordered_map<const void*, const Subject*> known_;  // by the address of a piece or choice
  Walk walk_;
  std::size_t steps_ = 0;
};

}  // namespace

bool IsConcrete(const std::string& value) {
  return value.find(kForeignMark) == std::string::npos &&
         value.find(kPlainMark) == std::string::npos;
}

std::vector<std::string> AlternativesOf(const Text& text,
                                        const std::vector<Constraint>& constraints) {
  std::string words;
  if (IsLiteral(text, words)) return {words};
  return Trial(constraints).Run(text);
}
