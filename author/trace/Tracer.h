// SPDX-License-Identifier: MIT
//
// The second evaluation of the language: the parser's actions build what the page can be, instead
// of the page. Both branches of a condition always run, so one pass sees everything that a template
// can do; only an include with several possible files needs one pass for each.
//
// A process traces one page at a time, because it has one scanner.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "author/model/DeviceModel.h"
#include "author/trace/Alternatives.h"
#include "author/trace/Record.h"
#include "values/WGLString.h"

// The real paths of files, by folder and name, so that the passes of a process look each up once.
// "" for what is no file below the root.
using PathMemory = std::map<std::pair<std::string, std::string>, std::string>;

class Tracer {
 public:
  // The n-th computed include takes the file number decisions[n], and the first one beyond them.
  // The model and the paths must outlive the tracer.
  Tracer(EntryPoint entry, std::vector<std::size_t> decisions, const DeviceModel& model,
         PathMemory& paths);
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  // Complete after NoteEnd.
  const Record& Seen() const { return record_; }

  // Begins with the entry point's template. Returns false, with an error in the record, when there
  // is none.
  bool Begin();

  // Call it when the parser has returned, or the language ends the process. A page that ended early
  // without an error gets one.
  void NoteEnd();

  void TakeToken(int token, WGLString& value);
  void NoteError(const std::string& message);

  // The actions of the grammar, see WGLEvaluate.h. The parser's strings name texts that are kept
  // here; each is taken at most once.
  WGLString Keep(Text text);
  Text Take(WGLString handle);
  Text Variable(WGLString name, std::string_view escaping);
  void Assign(const Text& name, Text value);
  Text Translate(Text text);
  void Include(Text path);  // ends the process when there is no such file
  Text Choose(Text thenText, Text elseText);
  void Compare(Text left, Text right);
  Text Query(const Text& key, std::string_view otype);
  Text QueryIf(const Text& key, std::string_view otype);
  Text CountRows(const Text& key);
  void BeginRows(const Text& key, std::string_view otype);
  Text EndRows(const Text& body);
  void WritePage(Text page);

 private:
  struct Rows {
    std::shared_ptr<const Condition> condition;  // null without one
  };

  const std::string& RealPathOf(const std::string& name);
  std::uint32_t FileNumber(const std::string& realPath);
  void ReadOpened();
  Text VariableNamed(const std::string& name, Escaping escaping, Place place);
  ResultSet NoteQuery(const Text& key, std::string_view otype, bool repeats);
  void Note(Record::Include::Problem problem, const std::string& name);
  std::vector<std::string> FilesOf(const std::vector<std::string>& names);
  const std::shared_ptr<const Condition>& ConditionAt(std::size_t depth) const;
  Text Chosen(const std::shared_ptr<const Condition>& condition, Text thenText, Text elseText);

  Record record_;
  Record::Include argument_;  // the last include that is an argument
  Locator locator_;
  const DeviceModel& model_;
  PathMemory& paths_;
  std::vector<std::size_t> decisions_;
  std::vector<Constraint> constraints_;
  std::map<std::string, TextPtr> variables_;
  std::deque<Text> texts_;         // whose addresses the parser's strings hold
  std::vector<Text*> takenTexts_;  // of them, to be used again
  std::vector<std::shared_ptr<const Condition>> conditions_;  // by the depth of constructs
  std::vector<ResultSet> sets_;
  std::vector<Rows> rows_;
};

// The tracer of this process; the actions and the scanner's tokens go there.
extern Tracer* gTracer;

// Makes the language ready for another page. Call it when the parser has returned, before the
// tracer ends.
void ForgetPage();
