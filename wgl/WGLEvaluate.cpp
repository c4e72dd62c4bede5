// SPDX-License-Identifier: MIT
#include "wgl/WGLEvaluate.h"

#include <libintl.h>

#include <cstring>
#include <string>

#include "base/Number.h"
#include "base/Response.h"
#include "query/SysMgr.h"
#include "query/WGLQueryExecutor.h"
#include "values/WGLVariables.h"
#include "wgl/WGLIncludeStack.h"

namespace {

// The string takes ownership of `text`, which malloc allocated; null when memory was short.
WGLString Own(const char* text) {
  WGLString result = WGLEmpty();
  result.Append(text);
  return result;
}

WGLString CopyOf(const char* text) {
  return Own(strdup(text));  // NOLINT(clang-analyzer-unix.Malloc): the string owns the copy
}

// The variable that tells of failed queries has its value when all of them have been answered.
const char* NameOf(WGLString& variable) {
  const char* name = variable.GetCombined();
  if (gQueryExecutor.IsAwaiting() && std::strcmp(name, kUnansweredVariable) == 0) {
    gQueryExecutor.TakeAnswers();
  }
  return name;
}

bool gMustTranslate = false;

// gettext says nothing when it has no memory for its catalogue; it leaves every text as it is. So
// the first call asks for what must be there. Later ones need no further memory.
const char* Translate(const char* text) {
  if (gMustTranslate && *gettext("") == '\0') Response::Lose();
  gMustTranslate = false;
  return gettext(text);
}

}  // namespace

void WGLWritePage(WGLString page) {
  // A file that the page points into may have been cut meanwhile. Nothing has gone out yet.
  if (gQueryExecutor.TakeAnswers()) page.Touch();
  if (Response::IsWhole()) {
    Response::Reach(Response::Stage::kContent);
    page.Write(stdout);
  } else {
    Response::WriteFailure(Response::kOutOfMemory);
  }
  // The page's parts stay until the process ends, because freeing them one by one would take a
  // tenth of the time for a large page. A further page frees the one before it.
  static WGLString writtenPage;
  writtenPage.Clear();
  writtenPage = page;
}

WGLString WGLEmpty() {
  WGLString empty;
  empty.Initialize();
  return empty;
}

WGLString WGLJoin(WGLString left, WGLString right) {
  left.Append(right);
  return left;
}

WGLString WGLDrop(WGLString text) {
  text.Clear();
  return text;
}

WGLString WGLGetVariable(WGLString name, const char* escaping) {
  const WGLString value = CopyOf(gVariables.Get(NameOf(name), escaping).c_str());
  name.Clear();
  return value;
}

WGLString WGLSetVariable(WGLString name, WGLString value) {
  gVariables.Set(NameOf(name), value.GetCombined());
  name.Clear();
  return WGLDrop(value);
}

void WGLExpectTranslations() {
  gMustTranslate = true;
}

WGLString WGLTranslate(WGLString text) {
  const WGLString translation = CopyOf(Translate(text.GetCombined()));
  text.Clear();
  return translation;
}

WGLString WGLInclude(WGLString path) {
  gIncludeStack.BeginInclude(path.GetCombined());
  return WGLDrop(path);
}

WGLString WGLChoose(int condition, WGLString thenText, WGLString elseText) {
  WGLDrop(condition != 0 ? elseText : thenText);
  return condition != 0 ? thenText : elseText;
}

int WGLCompareTexts(WGLString left, WGLString right) {
  const int order = std::strcmp(left.GetCombined(), right.GetCombined());
  left.Clear();
  right.Clear();
  return order;
}

int WGLCompareNumbers(WGLString left, WGLString right) {
  const int leftNumber = WGLToInt(left.GetCombined());
  const int rightNumber = WGLToInt(right.GetCombined());
  left.Clear();
  right.Clear();
  return (leftNumber > rightNumber ? 1 : 0) - (leftNumber < rightNumber ? 1 : 0);
}

WGLString WGLQuery(WGLString query, const char* otype) {
  WGLString values = WGLEmpty();
  gQueryExecutor.AskQuery(values, query.GetCombined(), otype);
  query.Clear();
  return values;
}

WGLString WGLQueryIf(int condition, WGLString query, const char* otype) {
  return condition != 0 ? WGLQuery(query, otype) : WGLDrop(query);
}

WGLString WGLCountRows(WGLString query) {
  const char* keys = query.GetCombined();
  gQueryExecutor.TakeAnswers();
  char* count = nullptr;
  gQueryExecutor.ExecuteQueryRowcount(&count, keys);
  query.Clear();
  return Own(count);
}

void WGLBeginRows(int condition, WGLString& query, const char* otype) {
  if (condition != 0) {
    const char* keys = query.GetCombined();
    gQueryExecutor.TakeAnswers();
    gQueryExecutor.ExecuteQueryDo1(keys, otype);
  }
  query.Clear();
}

WGLString WGLEndRows(int condition, WGLString body) {
  if (condition == 0) return WGLDrop(body);
  char* rows = nullptr;
  gQueryExecutor.ExecuteQueryDo2(&rows, body.GetCombined());
  body.Clear();
  return Own(rows);
}
