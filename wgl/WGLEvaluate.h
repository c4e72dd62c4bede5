// SPDX-License-Identifier: MIT
//
// What each construct of the template language does: one function for one grammar action.
//
// Every WGLString argument is consumed: its parts move into the result or are freed, and the
// caller forgets it. One that is passed by reference is left empty instead, because the parser
// still has it. Every result belongs to the caller.
#pragma once

#include "values/WGLString.h"

// Evaluates the template that gIncludeStack.Init opened and writes the page to standard output.
// 0 on success; 1 after a syntax error, 2 when the template is nested too deeply, each of which has
// been reported in place of the page.
int WGLParse();

// The finished page goes to standard output, and is kept until the next one.
void WGLWritePage(WGLString page);

WGLString WGLEmpty();
WGLString WGLJoin(WGLString left, WGLString right);

// The empty string; the argument was evaluated for its side effects.
WGLString WGLDrop(WGLString text);

// The variable's value, escaped for `escaping` (a mode of WGLEscaper); empty when it is not set.
WGLString WGLGetVariable(WGLString name, const char* escaping);

// The empty string.
WGLString WGLSetVariable(WGLString name, WGLString value);

// The text in the language of the request; the text itself where no translation exists.
WGLString WGLTranslate(WGLString text);

// The empty string; the next token comes from the named template. Ends the process when it can't
// be opened.
WGLString WGLInclude(WGLString path);

// One of the two texts. Both were evaluated, with all side effects, whatever the condition.
WGLString WGLChoose(int condition, WGLString thenText, WGLString elseText);

// Below, equal to or above 0, as left is less than, equal to or greater than right: byte by byte,
// and by the numbers that WGLToInt reads.
int WGLCompareTexts(WGLString left, WGLString right);
int WGLCompareNumbers(WGLString left, WGLString right);

// A query for values of the system manager, see WGLQueryExecutor: the values of the first row, the
// same when the condition is true and the empty string, without a query, when it isn't; the number
// of rows. `otype` is "html", "raw" or "json".
WGLString WGLQuery(WGLString query, const char* otype);
WGLString WGLQueryIf(int condition, WGLString query, const char* otype);
WGLString WGLCountRows(WGLString query);

// The two ends of a query whose body is repeated for each row: WGLBeginRows runs the query before
// the body is read, WGLEndRows gives the finished text. Both do nothing, and the text is empty,
// when the condition is false; it must be the same for both.
void WGLBeginRows(int condition, WGLString& query, const char* otype);
WGLString WGLEndRows(int condition, WGLString body);
