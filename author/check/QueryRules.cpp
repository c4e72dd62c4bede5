// SPDX-License-Identifier: MIT
//
// Keys, columns, selectors and placeholders, compared with the model.
#include <algorithm>

#include "author/check/Judges.h"
#include "author/trace/Alternatives.h"
#include "platform/ConfigKey.h"

namespace {

std::string Suggestion(const std::string& nearest) {
  return nearest.empty() ? "" : "; is it '" + nearest + "'?";
}

// Judges the keys of one query.
class QueryJudge {
 public:
  QueryJudge(const Record& record, const Record::Query& query, const DeviceModel& model,
             PassResult& result)
      : record_(record), query_(query), model_(model), result_(result) {}

  void Judge() {
    for (const std::string& text : query_.keys) {
      if (!JudgeForeign(text)) continue;
      std::string plain = text;
      std::replace(plain.begin(), plain.end(), kPlainMark, 'x');
      for (const std::string_view each : Config::Key::Split(plain)) JudgeKey(each);
    }
  }

 private:
  void Find(const char* rule, const std::string& message) {
    result_.always.push_back(At(record_, query_.place, rule, message));
  }

  // Foreign text may stand inside the braces only, and percent-encoded. Returns false when the key
  // can't be judged further.
  bool JudgeForeign(const std::string& text) {
    if (query_.repeated && text.find("${") != std::string::npos) {
      Find("cell-condition", "a key can't depend on the row: the query runs once, before");
      return false;
    }
    bool braces = false;
    for (const char byte : text) {
      if (byte == '{' || byte == '}') braces = byte == '{';
      if (byte == kForeignMark || (byte == kPlainMark && !braces)) {
        Find("planted-key", braces ? "foreign text in a key's braces needs htmlesc"
                                   : "a request or the device decides which key this asks for; "
                                     "foreign text belongs into the key's braces, with htmlesc");
        return false;
      }
    }
    return true;
  }

  void JudgeKey(std::string_view text) {
    const Config::Key::Key key(text);
    if (!key.IsValid()) {
      const bool selects = text.find('{') != std::string_view::npos;
      Find("unknown-key", "'" + std::string(text) + "' is no key" +
                              (selects ? "; a row is selected with {Column=value}" : ""));
      return;
    }
    const DeviceKey* definition = model_.Find(key.Path());
    if (definition == nullptr) {
      Find("unknown-key", "the model has no key '" + key.Path() + "'" + AdviceOn(key.Path()));
      return;
    }
    JudgeOptions(*definition, key);
    if (!definition->CanBeRead()) {
      Find("unreadable-key", "'" + key.Path() + "' can only be set");
    } else if (definition->type == ValueType::kTable) {
      for (const Config::Key::Pair& selector : key.Selectors()) {
        JudgeColumn(*definition, selector.name);
      }
      if (!key.Column().empty()) JudgeColumn(*definition, key.Column());
    } else if (!key.Column().empty() || (!key.Selectors().empty() && definition->source.empty())) {
      Find("unknown-key", "'" + key.Path() + "' is no table");
    }
  }

  // What may have been meant by an unknown key.
  std::string AdviceOn(const std::string& path) const {
    const std::size_t dot = path.rfind('.');
    const DeviceKey* const table = model_.Find(path.substr(0, dot));
    if (dot == std::string::npos || table == nullptr || table->columns.empty()) {
      return Suggestion(model_.Nearest(path));
    }
    return "; a column comes after braces: " + table->name + "{" + table->columns[0].name +
           "=...}." + path.substr(dot + 1);
  }

  void JudgeOptions(const DeviceKey& definition, const Config::Key::Key& key) {
    const bool isTable = definition.type == ValueType::kTable;
    std::vector<std::string> known = {"format"};
    if (isTable) known.emplace_back("measured");
    for (const Config::Key::Pair& option : key.Options()) {
      if (option.name == "format") {
        JudgeFormat(definition, option.value);
      } else if (isTable && option.name == "measured") {
        if (option.value == "once") continue;
        Find("unknown-key", "'measured' is '" + option.value + "'; there is only once");
      } else {
        // A provider may take further options, which the model doesn't list.
        const std::string nearest = NearestName(option.name, known);
        if (nearest.empty() && !definition.source.empty()) continue;
        const std::string all =
            isTable ? "; there are format and measured" : "; there is only format";
        Find("unknown-key", "'" + definition.name + "' has no option '" + option.name + "'" +
                                (nearest.empty() ? all : Suggestion(nearest)));
      }
    }
  }

  void JudgeFormat(const DeviceKey& definition, const std::string& format) {
    if (format == "scalar" || format == "table") return;
    if (format == "count" && definition.type == ValueType::kTable) return;
    Find("unknown-key", "'" + definition.name + "' has no format '" + format +
                            "'; there are scalar, table and, for a table, count");
  }

  void JudgeColumn(const DeviceKey& table, const std::string& name) {
    if (table.Column(name) != nullptr) return;
    std::vector<std::string> names;
    for (const DeviceColumn& column : table.columns) names.push_back(column.name);
    Find("unknown-key", "'" + table.name + "' has no column '" + name + "'" +
                            Suggestion(NearestName(name, names)));
  }

  const Record& record_;
  const Record::Query& query_;
  const DeviceModel& model_;
  PassResult& result_;
};

std::string MessageOf(const WrongPlaceholder& wrong) {
  constexpr std::size_t kMaxNames = 12;
  if (wrong.columns.empty()) {
    return "there is no query '" + std::string(1, static_cast<char>('A' + wrong.placeholder.set)) +
           "' around this; 'A' is the outermost of " + std::to_string(wrong.sets);
  }
  const std::size_t count = wrong.columns.size();
  std::string message = "the answer has no column " + std::to_string(wrong.placeholder.column) +
                        ", only " + std::to_string(count) + ": ";
  for (std::size_t i = 0; i < std::min(count, kMaxNames); ++i) {
    message.append(i == 0 ? "" : ", ").append(wrong.columns[i].name);
  }
  return count > kMaxNames ? message + ", ..." : message;
}

// Placeholders that nothing has filled.
void FindPlaceholders(const Record& record, PassResult& result) {
  VisitPieces(*record.page, [&](const Piece& piece) {
    const std::string_view words = piece.text;
    if (piece.kind != Piece::Kind::kLiteral) return true;
    for (std::size_t i = words.find("${"); i != std::string_view::npos;
         i = words.find("${", i + 2)) {
      if (PlaceholderAt(words.substr(i)).size == 0) continue;
      result.always.push_back(At(record, Advance(piece.place, words.substr(0, i)), "placeholder",
                                 "outside of the text after a do, this comes out as it is"));
    }
    return true;
  });
}

}  // namespace

void JudgeQueries(const Record& record, const DeviceModel& model, PassResult& result) {
  for (const Record::Query& query : record.queries) {
    QueryJudge(record, query, model, result).Judge();
  }
  for (const WrongPlaceholder& wrong : record.wrongPlaceholders) {
    result.always.push_back(At(record, wrong.place, "column", MessageOf(wrong)));
  }
  if (record.page != nullptr) FindPlaceholders(record, result);
}
