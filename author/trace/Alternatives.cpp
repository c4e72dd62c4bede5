// SPDX-License-Identifier: MIT
#include "author/trace/Alternatives.h"

#include <algorithm>
#include <map>
#include <set>

#include "base/Number.h"
#include "values/WGLEscaper.h"

namespace {

// What a text takes at most: combinations of foreign values, and pieces looked at.
constexpr std::size_t kMaxCombinations = 2048;
constexpr std::size_t kMaxSteps = 200000;

// The name under which a foreign piece, or a condition that nobody can decide, is tried.
std::string SubjectOf(const Piece& piece) {
  return (piece.kind == Piece::Kind::kRequest ? "request " : "device ") + piece.text;
}
std::string SubjectOf(const void* choice) {
  return "choice " + std::to_string(reinterpret_cast<std::uintptr_t>(choice));
}
constexpr char kTrue[] = "1";

class Trial {
 public:
  explicit Trial(const std::vector<Constraint>& constraints) : constraints_(constraints) {}

  std::vector<std::string> Run(const Text& text) {
    Collect(text);
    for (const Constraint& constraint : constraints_) TakeIfShared(constraint);
    std::size_t combinations = 1;
    for (const auto& [subject, candidates] : subjects_) {
      combinations *= candidates.size() + 1;
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
    if (!seen_.insert(&text).second) return;
    for (const Piece& piece : text.pieces) {
      if (piece.condition != nullptr) {
        CollectCondition(*piece.condition);
      } else if (piece.kind == Piece::Kind::kChoice) {
        subjects_[SubjectOf(piece.first.get())].insert(kTrue);
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
      subjects_[SubjectOf(&condition)].insert(kTrue);
    }
    Collect(*condition.left);
    Collect(*condition.right);
  }

  void AddCandidate(const Text& text, const std::string& constant, bool numeric) {
    for (const Piece& piece : text.pieces) {
      if (piece.IsForeign()) {
        std::set<std::string>& candidates = subjects_[SubjectOf(piece)];
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
    chosen_.clear();
    for (const auto& [subject, candidates] : subjects_) {
      const std::size_t index = number % (candidates.size() + 1);
      number /= candidates.size() + 1;
      if (index < candidates.size()) {
        chosen_[subject] = *std::next(candidates.begin(), static_cast<std::ptrdiff_t>(index));
      }
    }
  }

  bool KeepsConstraints() {
    return std::all_of(shared_.begin(), shared_.end(), [this](const Constraint* known) {
      const std::string value = ValueOf(*known->first);
      return !IsConcrete(value) || value == known->second;
    });
  }

  std::string ValueOf(const Text& text) {
    std::string value;
    for (const Piece& piece : text.pieces) {
      if (++steps_ > kMaxSteps) break;
      value += Escaped(ValueOf(piece), piece);
    }
    return value;
  }

  static std::string Escaped(std::string value, const Piece& piece) {
    if (piece.escaping == Escaping::kNone || piece.kind == Piece::Kind::kLiteral) return value;
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

  std::string ValueOf(const Piece& piece) {
    switch (piece.kind) {
      case Piece::Kind::kLiteral:
        return piece.text;
      case Piece::Kind::kValue:
        return ValueOf(*piece.first);
      case Piece::Kind::kChoice:
        return ValueOf(Holds(piece) ? *piece.first : *piece.second);
      case Piece::Kind::kRequest:
      case Piece::Kind::kDevice: {
        const auto found = chosen_.find(SubjectOf(piece));
        if (found != chosen_.end()) return found->second;
        return std::string(1, IsHarmless(piece.type) ? kPlainMark : kForeignMark);
      }
      default:
        return std::string(1, kForeignMark);
    }
  }

  bool Holds(const Piece& choice) {
    if (choice.condition == nullptr) return chosen_.count(SubjectOf(choice.first.get())) != 0;
    const Condition& condition = *choice.condition;
    if (subjects_.count(SubjectOf(&condition)) != 0) {
      return chosen_.count(SubjectOf(&condition)) != 0;
    }
    const std::string left = ValueOf(*condition.left);
    const std::string right = ValueOf(*condition.right);
    const int difference = WGLToInt(left.c_str()) - WGLToInt(right.c_str());
    switch (condition.comparison) {
      case Condition::Operator::kEqual:
        return left == right && IsConcrete(left);
      case Condition::Operator::kNotEqual:
        return left != right || !IsConcrete(left);
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
  std::map<std::string, std::set<std::string>> subjects_;
  std::map<std::string, std::string> chosen_;
  std::set<const Text*> seen_;
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
