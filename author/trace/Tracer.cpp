// SPDX-License-Identifier: MIT
#include "author/trace/Tracer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "WGLParser.hpp"
#include "author/trace/Keys.h"
#include "author/trace/SyntaxMessage.h"
#include "base/Number.h"
#include "base/Settings.h"
#include "wgl/WGLIncludeStack.h"
#include "wgl/WGLScanner.h"

namespace {

constexpr char kUnderflow[] = "a backquote or '~>' ends something that has not begun";

Condition::Operator OperatorOf(int token) {
  switch (token) {
    case T_NE:
      return Condition::Operator::kNotEqual;
    case T_GT:
      return Condition::Operator::kGreater;
    case T_GE:
      return Condition::Operator::kGreaterEqual;
    case T_LT:
      return Condition::Operator::kLess;
    case T_LE:
      return Condition::Operator::kLessEqual;
    default:
      return Condition::Operator::kEqual;
  }
}

// Whether a comparison of two known texts holds.
bool Holds(Condition::Operator comparison, const std::string& left, const std::string& right) {
  const int a = WGLToInt(left.c_str());
  const int b = WGLToInt(right.c_str());
  switch (comparison) {
    case Condition::Operator::kEqual:
      return left == right;
    case Condition::Operator::kNotEqual:
      return left != right;
    case Condition::Operator::kGreater:
      return a > b;
    case Condition::Operator::kGreaterEqual:
      return a >= b;
    case Condition::Operator::kLess:
      return a < b;
    default:
      return a <= b;
  }
}

Text TextOf(Piece piece) {
  Text text;
  Append(text, std::move(piece));
  return text;
}

Text Foreign(Piece::Kind kind, std::string name, Place place, Escaping escaping, ValueType type) {
  Piece piece;
  piece.kind = kind;
  piece.text = std::move(name);
  piece.place = place;
  piece.escaping = escaping;
  piece.type = type;
  return TextOf(std::move(piece));
}

// The program makes the values of these, so nobody can plant text in them.
ValueType TypeOfRequestVariable(const std::string& name) {
  if (name == "_errorcount") return ValueType::kInteger;
  return name == "_actlang" ? ValueType::kEnumeration : ValueType::kText;
}

}  // namespace

Tracer* gTracer = nullptr;

Tracer::Tracer(EntryPoint entry, std::vector<std::size_t> decisions, const DeviceModel& model,
               PathMemory& paths)
    : model_(model), paths_(paths), decisions_(std::move(decisions)) {
  variables_["_file"] = Share(TextOf(Literal(entry.file, {})));
  record_.entry = std::move(entry);
}

const std::string& Tracer::RealPathOf(const std::string& name) {
  const std::string file = gIncludeStack.FileName();
  const auto [known, isNew] = paths_.try_emplace({file.substr(0, file.rfind('/')), name});
  if (isNew) known->second = gIncludeStack.MakeRealPath(name);
  return known->second;
}

std::uint32_t Tracer::FileNumber(const std::string& realPath) {
  const std::string name = realPath.substr(std::min(realPath.size(), gDocumentRoot.size() + 1));
  const auto found = std::find(record_.files.begin(), record_.files.end(), name);
  const auto number = static_cast<std::uint32_t>(found - record_.files.begin());
  if (found == record_.files.end()) record_.files.push_back(name);
  return number;
}

bool Tracer::Begin() {
  const std::string& path = RealPathOf("/" + record_.entry.page);
  record_.files.push_back(record_.entry.page);
  if (path.empty()) {
    record_.errors.push_back({"there is no such file below the root", {0, 1, 1}});
    return false;
  }
  locator_.Open(0);
  gIncludeStack.Init("/" + record_.entry.page);
  ReadOpened();
  return true;
}

// What the scanner is about to read. It reports a file that can't be read. A process that goes on
// with other pages can't leave all files open.
void Tracer::ReadOpened() {
  WGLIncludeInfo* const file = gIncludeStack.Content();
  if (file == nullptr) return;
  std::fclose(std::exchange(yywglin, nullptr));
  locator_.Read({file->next, static_cast<std::size_t>(file->end - file->next)});
}

void Tracer::TakeToken(int token, WGLString& value) {
  const bool valued = token == T_CHARS || token == T_VARNAME || token == T_VARNAME_HTMLTEXT ||
                      token == T_VARNAME_HTMLESC;
  const std::string_view written = valued ? value.GetView() : std::string_view();
  locator_.Take(token, written);
  if (token != T_CHARS) return;
  Text text = TextOf(Literal(std::string(written), locator_.TokenPlace()));
  value.Clear();
  value = Keep(std::move(text));
}

void Tracer::NoteError(const std::string& message) {
  // A file that is read as code is in order if nothing is in it.
  const auto file = std::find(record_.files.begin(), record_.files.end(), argument_.name);
  if (file != record_.files.end() &&
      locator_.IsOpen(static_cast<std::uint32_t>(file - record_.files.begin()))) {
    record_.includes.push_back({Record::Include::Problem::kArgument, "", argument_.place});
    return;
  }
  if (message.compare(0, kSyntaxError.size(), kSyntaxError) == 0) {
    record_.errors.push_back(ExplainSyntaxError(message, locator_));
    return;
  }
  locator_.GoOn();
  record_.errors.push_back({ExplainScannerError(message, locator_), locator_.Here()});
}

void Tracer::NoteEnd() {
  record_.oddities = locator_.Oddities();
  const bool lacksFile = !record_.includes.empty() &&
                         record_.includes.back().problem != Record::Include::Problem::kNone;
  if (record_.page != nullptr || !record_.errors.empty() || lacksFile) return;
  locator_.GoOn();
  const std::string_view rest = locator_.Rest();
  const bool closes = !rest.empty() && (rest[0] == '`' || rest.substr(0, 2) == "~>");
  record_.errors.push_back(
      {closes ? ExplainScannerError(kUnderflow, locator_) : "the file can't be read",
       locator_.Here()});
}

// The parser's string is a part that borrows the bytes of the Text object itself, and nobody reads
// them as a text.
WGLString Tracer::Keep(Text text) {
  if (takenTexts_.empty()) {
    texts_.emplace_back();
    takenTexts_.push_back(&texts_.back());
  }
  Text* const kept = takenTexts_.back();
  takenTexts_.pop_back();
  *kept = std::move(text);
  WGLString handle;
  handle.Initialize();
  handle.AppendBorrowed({reinterpret_cast<const char*>(kept), sizeof *kept});
  return handle;
}

Text Tracer::Take(WGLString handle) {
  const std::string_view bytes = handle.GetView();
  handle.Clear();
  if (bytes.empty()) return Text();
  auto* const kept = const_cast<Text*>(reinterpret_cast<const Text*>(bytes.data()));  // NOLINT
  takenTexts_.push_back(kept);
  return std::exchange(*kept, Text());
}

Text Tracer::VariableNamed(const std::string& name, Escaping escaping, Place place) {
  const auto found = variables_.find(name);
  record_.reads.push_back({name, place, found != variables_.end()});
  if (found == variables_.end()) {
    return Foreign(Piece::Kind::kRequest, name, place, escaping, TypeOfRequestVariable(name));
  }
  Piece piece;
  piece.kind = Piece::Kind::kValue;
  piece.text = name;
  piece.place = place;
  piece.escaping = escaping;
  piece.first = found->second;
  return TextOf(std::move(piece));
}

Text Tracer::Variable(WGLString name, std::string_view escaping) {
  if (locator_.Token() != T_END) {
    const std::string written(name.GetView());
    name.Clear();
    return VariableNamed(written, EscapingOf(escaping), locator_.TokenPlace());
  }
  // A `get`, whose name is a text.
  const Text text = Take(name);
  const Place place = locator_.LastClosed().place;
  const std::vector<std::string> names = AlternativesOf(text, constraints_);
  Text result;
  for (const std::string& each : names) {
    Text value = IsConcrete(each) ? VariableNamed(each, Escaping::kNone, place)
                                  : Foreign(Piece::Kind::kRequest, "a composed name", place,
                                            Escaping::kNone, ValueType::kText);
    if (each == names.front()) {
      result = std::move(value);
    } else {
      result = Chosen(nullptr, std::move(value), std::move(result));
    }
  }
  return result;
}

void Tracer::Assign(const Text& name, Text value) {
  const Place place = locator_.LastClosed().place;
  const TextPtr shared = Share(std::move(value));
  const std::vector<std::string> names = AlternativesOf(name, constraints_);
  for (const std::string& each : names) {
    if (!IsConcrete(each)) continue;
    variables_[each] = shared;
    record_.assignments.push_back({each, place, locator_.IsInBranch()});
  }
}

Text Tracer::Translate(Text text) {
  Piece piece;
  piece.kind = Piece::Kind::kTranslation;
  piece.place = locator_.LastClosed().place;
  piece.first = Share(std::move(text));
  record_.translations.push_back({piece.first, piece.place, locator_.IsInBranch()});
  return TextOf(std::move(piece));
}

void Tracer::Note(Record::Include::Problem problem, const std::string& name) {
  record_.includes.push_back({problem, name, locator_.LastClosed().place});
}

// The names that files have; notes the others.
std::vector<std::string> Tracer::FilesOf(const std::vector<std::string>& names) {
  std::vector<std::string> found;
  for (const std::string& name : names) {
    const std::string path = IsConcrete(name) ? RealPathOf(name) : "";
    if (!IsConcrete(name)) {
      Note(Record::Include::Problem::kComputed, "");
    } else if (path.empty()) {
      Note(Record::Include::Problem::kMissing, name);
    } else if (locator_.IsOpen(FileNumber(path))) {
      Note(Record::Include::Problem::kRecursive, name);
    } else {
      found.push_back(name);
    }
  }
  return found;
}

void Tracer::Include(Text path) {
  const std::vector<Construct>& open = locator_.Constructs();
  const bool argument = !open.empty() && !open.back().isString;
  const TextPtr shared = Share(std::move(path));
  const std::vector<std::string> names = FilesOf(AlternativesOf(*shared, constraints_));
  // As on the device, the page ends here.
  if (names.empty()) std::exit(1);
  std::size_t chosen = 0;
  if (names.size() > 1) {
    const std::size_t number = record_.branches.size();
    if (number < decisions_.size()) chosen = std::min(decisions_[number], names.size() - 1);
    record_.branches.push_back(names.size());
    constraints_.emplace_back(shared, names[chosen]);
  }
  const std::uint32_t file = FileNumber(RealPathOf(names[chosen]));
  Note(Record::Include::Problem::kNone, record_.files[file]);
  if (argument) argument_ = record_.includes.back();
  gIncludeStack.BeginInclude(names[chosen]);
  locator_.Open(file);
  ReadOpened();
}

void Tracer::Compare(Text left, Text right) {
  const std::vector<Construct>& open = locator_.Constructs();
  const Construct innermost = open.empty() ? Construct() : open.back();
  Condition condition;
  condition.comparison = OperatorOf(innermost.comparison);
  condition.left = Share(std::move(left));
  condition.right = Share(std::move(right));
  conditions_.resize(std::max(conditions_.size(), open.size() + 1));
  conditions_[open.size()] = std::make_shared<const Condition>(std::move(condition));
  record_.comparisons.push_back({conditions_[open.size()], innermost.place, !sets_.empty()});
}

const std::shared_ptr<const Condition>& Tracer::ConditionAt(std::size_t depth) const {
  static const std::shared_ptr<const Condition> kNone;
  return depth < conditions_.size() ? conditions_[depth] : kNone;
}

Text Tracer::Chosen(const std::shared_ptr<const Condition>& condition, Text thenText,
                    Text elseText) {
  std::string left;
  std::string right;
  if (condition != nullptr && IsLiteral(*condition->left, left) &&
      IsLiteral(*condition->right, right)) {
    return Holds(condition->comparison, left, right) ? std::move(thenText) : std::move(elseText);
  }
  Piece piece;
  piece.kind = Piece::Kind::kChoice;
  piece.place = locator_.LastClosed().place;
  piece.condition = condition;
  piece.first = Share(std::move(thenText));
  piece.second = Share(std::move(elseText));
  return TextOf(std::move(piece));
}

Text Tracer::Choose(Text thenText, Text elseText) {
  return Chosen(ConditionAt(locator_.Constructs().size() + 1), std::move(thenText),
                std::move(elseText));
}

ResultSet Tracer::NoteQuery(const Text& key, std::string_view otype, bool repeats) {
  const std::vector<Construct>& open = locator_.Constructs();
  const Place place = repeats && !open.empty() ? open.back().place : locator_.LastClosed().place;
  record_.queries.push_back({AlternativesOf(key, constraints_), place, !sets_.empty()});
  ResultSet result;
  const std::vector<std::string>& alternatives = record_.queries.back().keys;
  for (const std::string& each : alternatives) {
    ResultSet columns = ColumnsOf(model_, each);
    const bool same = columns.columns.size() == result.columns.size();
    if (&each != &alternatives.front() && !same) columns.known = false;
    result = std::move(columns);
    if (!result.known) break;
  }
  result.escaping = EscapingOf(otype);
  return result;
}

Text Tracer::Query(const Text& key, std::string_view otype) {
  const ResultSet answer = NoteQuery(key, otype, false);
  ValueType type = answer.known ? ValueType::kEnumeration : ValueType::kText;
  for (const DeviceColumn& column : answer.columns) {
    if (answer.columns.size() == 1 || !IsHarmless(column.type)) type = column.type;
  }
  return Foreign(Piece::Kind::kDevice, record_.queries.back().keys.front(),
                 locator_.LastClosed().place, EscapingOf(otype), type);
}

Text Tracer::QueryIf(const Text& key, std::string_view otype) {
  Text value = Query(key, otype);
  return Choose(std::move(value), Text());
}

Text Tracer::CountRows(const Text& key) {
  NoteQuery(key, "", false);
  return Foreign(Piece::Kind::kDevice, record_.queries.back().keys.front() + " rowcount",
                 locator_.LastClosed().place, Escaping::kNone, ValueType::kInteger);
}

void Tracer::BeginRows(const Text& key, std::string_view otype) {
  const std::vector<Construct>& open = locator_.Constructs();
  ResultSet answer = NoteQuery(key, otype, true);
  sets_.push_back(std::move(answer));
  const bool conditional = !open.empty() && open.back().command == T_IF;
  rows_.push_back({conditional ? ConditionAt(open.size()) : nullptr});
}

Text Tracer::EndRows(const Text& body) {
  Piece piece;
  piece.kind = Piece::Kind::kRows;
  piece.place = locator_.LastClosed().place;
  piece.first = Share(FillPlaceholders(body, sets_, record_.wrongPlaceholders));
  sets_.pop_back();
  const Rows rows = rows_.back();
  rows_.pop_back();
  variables_["ROW"] = Share(Text());
  Text text = TextOf(std::move(piece));
  return rows.condition == nullptr ? text : Chosen(rows.condition, std::move(text), Text());
}

void Tracer::WritePage(Text page) {
  record_.page = Share(std::move(page));
}
