// SPDX-License-Identifier: MIT
//
// What the language's folder calls, as this tool links it: the grammar's actions, the tokens on
// their way from the scanner to the parser, and errors. All of it goes to the tracer.
// WGLEvaluate.h, WGLScanner.h and WGLError.h have the contracts.
#include <new>
#include <string_view>
#include <utility>

#include "WGLParser.hpp"
#include "author/trace/Scan.h"
#include "author/trace/Tracer.h"
#include "wgl/WGLError.h"
#include "wgl/WGLEvaluate.h"
#include "wgl/WGLIncludeStack.h"
#include "wgl/WGLScanner.h"

namespace {

Tracer& Current() {
  return *gTracer;
}

// An equal result for either kind of comparison: what a condition means is the tracer's, and the
// parser hands both branches over in any case.
constexpr int kUndecided = 0;

}  // namespace

void ForgetPage() {
  while (gIncludeStack.EndInclude()) {
  }
  yywgllex_destroy();
  gIncludeStack.~WGLIncludeStack();
  new (&gIncludeStack) WGLIncludeStack;
}

int yywgllex() {
  const int token = ScanToken();
  Current().TakeToken(token, yywgllval.text);
  return token;
}

void yywglerror(const char* message) {
  Current().NoteError(message);
}

void WGLWritePage(WGLString page) {
  Current().WritePage(Current().Take(page));
}

WGLString WGLEmpty() {
  return Current().Keep(Text());
}

WGLString WGLJoin(WGLString left, WGLString right) {
  Text joined = Current().Take(left);
  Append(joined, Current().Take(right));
  return Current().Keep(std::move(joined));
}

WGLString WGLDrop(WGLString text) {
  Current().Take(text);
  return WGLEmpty();
}

WGLString WGLGetVariable(WGLString name, std::string_view escaping) {
  return Current().Keep(Current().Variable(name, escaping));
}

WGLString WGLSetVariable(WGLString name, WGLString value) {
  const Text variable = Current().Take(name);
  Current().Assign(variable, Current().Take(value));
  return WGLEmpty();
}

WGLString WGLTranslate(WGLString text) {
  return Current().Keep(Current().Translate(Current().Take(text)));
}

WGLString WGLInclude(WGLString path) {
  Current().Include(Current().Take(path));
  return WGLEmpty();
}

WGLString WGLChoose(int /*condition*/, WGLString thenText, WGLString elseText) {
  Text chosen = Current().Take(thenText);
  return Current().Keep(Current().Choose(std::move(chosen), Current().Take(elseText)));
}

int WGLCompareTexts(WGLString left, WGLString right) {
  Text first = Current().Take(left);
  Current().Compare(std::move(first), Current().Take(right));
  return kUndecided;
}

int WGLCompareNumbers(WGLString left, WGLString right) {
  return WGLCompareTexts(left, right);
}

WGLString WGLQuery(WGLString query, const char* otype) {
  return Current().Keep(Current().Query(Current().Take(query), otype));
}

WGLString WGLQueryIf(int /*condition*/, WGLString query, const char* otype) {
  return Current().Keep(Current().QueryIf(Current().Take(query), otype));
}

WGLString WGLCountRows(WGLString query) {
  return Current().Keep(Current().CountRows(Current().Take(query)));
}

void WGLBeginRows(int /*condition*/, WGLString& query, const char* otype) {
  Current().BeginRows(Current().Take(query), otype);
  query.Initialize();
}

WGLString WGLEndRows(int /*condition*/, WGLString body) {
  return Current().Keep(Current().EndRows(Current().Take(body)));
}
