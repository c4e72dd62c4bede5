// SPDX-License-Identifier: MIT
//
// What each construct of the template language does: one function for one grammar action.
//
// Every WGLString argument is consumed: its parts move into the result or are freed, and the caller
// must not use it again. An argument passed by reference is left empty instead, because the parser
// still has it. The caller owns every result.
#pragma once

#include <string_view>

#include "values/WGLString.h"

// Evaluates the template that gIncludeStack.Init opened and writes the page to standard output.
// Returns 0 on success, 1 after a syntax error, 2 when the template is nested too deeply. It
// reports these errors instead of the page.
int WGLParse();

// Says that gettext's catalogue has a description, the translation of the empty text. When that is
// missing nevertheless, the catalogue couldn't be loaded and the page is lost.
void WGLExpectTranslations();

// Writes the finished page to standard output and keeps it until the next one. When a part of it is
// lost, writes a line of text instead.
void WGLWritePage(WGLString page);

WGLString WGLEmpty();
WGLString WGLJoin(WGLString left, WGLString right);

// Returns the empty string; the argument was evaluated for its side effects.
WGLString WGLDrop(WGLString text);

// The variable's value, escaped by the mode `escaping` of WGLEscaper; empty when it is not set.
WGLString WGLGetVariable(WGLString name, std::string_view escaping);

// Returns the empty string.
WGLString WGLSetVariable(WGLString name, WGLString value);

// The text in the language of the request; the text itself if there is no translation.
WGLString WGLTranslate(WGLString text);

// Returns the empty string; the next token comes from the named template. Ends the process when it
// can't be opened.
WGLString WGLInclude(WGLString path);

// Returns one of the two texts. Both were evaluated before, with all side effects.
WGLString WGLChoose(int condition, WGLString thenText, WGLString elseText);

// Less than, equal to or greater than 0, as left is to right: compared byte by byte, and by the
// numbers that WGLToInt reads.
int WGLCompareTexts(WGLString left, WGLString right);
int WGLCompareNumbers(WGLString left, WGLString right);

// Queries for values of the system manager, see WGLQueryExecutor. They return the values of the
// first row; the same if the condition is true, else the empty string, without a query; and the
// number of rows. `otype` is "html", "raw" or "json".
WGLString WGLQuery(WGLString query, const char* otype);
WGLString WGLQueryIf(int condition, WGLString query, const char* otype);
WGLString WGLCountRows(WGLString query);

// A query whose body is repeated for each row: WGLBeginRows runs the query before the body is read,
// WGLEndRows returns the finished text. If the condition is false, both do nothing and the text is
// empty; the condition must be the same for both.
void WGLBeginRows(int condition, WGLString& query, const char* otype);
WGLString WGLEndRows(int condition, WGLString body);
