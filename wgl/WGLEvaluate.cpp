// SPDX-License-Identifier: MIT
#include "wgl/WGLEvaluate.h"

#include <libintl.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "base/Number.h"
#include "base/Response.h"
#include "query/SysMgr.h"
#include "query/WGLQueryExecutor.h"
#include "values/WGLEscapedValues.h"
#include "values/WGLVariables.h"
#include "wgl/WGLIncludeStack.h"

namespace {

// The string takes ownership of `text`, which malloc allocated; null when memory was short.
WGLString Own(const char* text) {
  WGLString result = WGLEmpty();
  result.Append(text);
  return result;
}

// The variable that tells of failed queries has its value when all of them have been answered.
std::string_view NameOf(WGLString& variable) {
  const std::string_view name = variable.GetView();
  if (gQueryExecutor.IsAwaiting() && name == kUnansweredVariable) {
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

WGLString WGLGetVariable(WGLString name, std::string_view escaping) {
  WGLString text = WGLEmpty();
  const auto variable = gVariables.find(NameOf(name));
  if (variable != gVariables.end()) {
    const auto number = static_cast<std::size_t>(variable - gVariables.begin());
    gEscapedValues.AppendTo(text, variable->second, WGLEscaper(escaping), number);
  }
  name.Clear();
  return text;
}

WGLString WGLSetVariable(WGLString name, WGLString value) {
  gVariables.Set(NameOf(name), value.GetView());
  name.Clear();
  return WGLDrop(value);
}

void WGLExpectTranslations() {
  gMustTranslate = true;
}

WGLString WGLTranslate(WGLString text) {
  const char* const original = text.GetCombined();
  const char* const translation = Translate(original);
  if (translation == original) return text;
  WGLString translated = WGLEmpty();
  translated.AppendBorrowed(translation);  // the catalogue stays
  text.Clear();
  return translated;
}

WGLString WGLInclude(WGLString path) {
  gIncludeStack.BeginInclude(std::string(path.GetView()));
  return WGLDrop(path);
}

WGLString WGLChoose(int condition, WGLString thenText, WGLString elseText) {
  WGLDrop(condition != 0 ? elseText : thenText);
  return condition != 0 ? thenText : elseText;
}

int WGLCompareTexts(WGLString left, WGLString right) {
  const int order = left.GetView().compare(right.GetView());
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
  gQueryExecutor.AskQuery(values, std::string(query.GetView()), otype);
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
