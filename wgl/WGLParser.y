/* SPDX-License-Identifier: MIT */
%code top {
// The grammar of WGL. Pages are evaluated while they are parsed: each action is one call of
// WGLEvaluate.h. The order of the rules decides the wording of syntax errors.
}

%code requires {
#include "values/WGLString.h"
}

%code {
#include "wgl/WGLError.h"
#include "wgl/WGLEvaluate.h"
#include "wgl/WGLScanner.h"
}

%require "3.8"
%define api.prefix {yywgl}
%define parse.error verbose

// A block may start with nothing or with its first piece; shifting the piece is correct.
%expect 10

%union {
  WGLString text;
  int truth;
  const char* word;
}

// The name of the end of input in messages.
%token YYEOF 0 "$end"
%token <text> T_CHARS T_VARNAME T_VARNAME_HTMLTEXT T_VARNAME_HTMLESC
%token T_BEGIN T_END T_QUOTE T_PLUS T_MINUS
%token T_INCLUDE T_TRANS T_SET T_GET T_QUERY T_DO T_ROWCOUNT T_RAW T_JSON
%token T_IF T_THEN T_ELSE T_EQ T_NE T_GT T_GE T_LT T_LE

%type <text> block argument else cmd
%type <truth> comparison boolean
%type <word> otype

%destructor { $$.Clear(); } <text>

%%

input: block                         { WGLWritePage($1); }
;

block: %empty                        { $$ = WGLEmpty(); }
  | T_CHARS                          { $$ = $1; }
  | T_VARNAME                        { $$ = WGLGetVariable($1, ""); }
  | T_VARNAME_HTMLTEXT               { $$ = WGLGetVariable($1, "htmltext"); }
  | T_VARNAME_HTMLESC                { $$ = WGLGetVariable($1, "htmlesc"); }
  | cmd                              { $$ = $1; }
  | block T_CHARS                    { $$ = WGLJoin($1, $2); }
  | block T_VARNAME                  { $$ = WGLJoin($1, WGLGetVariable($2, "")); }
  | block T_VARNAME_HTMLTEXT         { $$ = WGLJoin($1, WGLGetVariable($2, "htmltext")); }
  | block T_VARNAME_HTMLESC          { $$ = WGLJoin($1, WGLGetVariable($2, "htmlesc")); }
  | block cmd                        { $$ = WGLJoin($1, $2); }
;

argument: T_QUOTE block T_QUOTE      { $$ = $2; }
  | cmd                              { $$ = $1; }
  | T_VARNAME                        { $$ = WGLGetVariable($1, ""); }
  | T_VARNAME_HTMLTEXT               { $$ = WGLGetVariable($1, "htmltext"); }
  | T_VARNAME_HTMLESC                { $$ = WGLGetVariable($1, "htmlesc"); }
;

comparison: argument T_EQ argument   { $$ = WGLCompareTexts($1, $3) == 0; }
  | argument T_NE argument           { $$ = WGLCompareTexts($1, $3) != 0; }
  | argument T_GT argument           { $$ = WGLCompareNumbers($1, $3) > 0; }
  | argument T_GE argument           { $$ = WGLCompareNumbers($1, $3) >= 0; }
  | argument T_LT argument           { $$ = WGLCompareNumbers($1, $3) < 0; }
  | argument T_LE argument           { $$ = WGLCompareNumbers($1, $3) <= 0; }
;

boolean: comparison                  { $$ = $1; }
;

else: %empty                         { $$ = WGLEmpty(); }
  | T_ELSE argument                  { $$ = $2; }
;

otype: %empty                        { $$ = "html"; }
  | T_RAW                            { $$ = "raw"; }
  | T_JSON                           { $$ = "json"; }
;

cmd: T_BEGIN T_INCLUDE argument T_END             { $$ = WGLInclude($3); }
  | T_BEGIN T_MINUS argument T_END                { $$ = WGLDrop($3); }
  | T_BEGIN T_PLUS argument T_END                 { $$ = $3; }
  | T_BEGIN T_TRANS argument T_END                { $$ = WGLTranslate($3); }
  | T_BEGIN T_SET argument argument T_END         { $$ = WGLSetVariable($3, $4); }
  | T_BEGIN T_GET argument T_END                  { $$ = WGLGetVariable($3, ""); }
  | T_BEGIN T_IF boolean T_THEN argument else T_END
      { $$ = WGLChoose($3, $5, $6); }
  | T_BEGIN T_QUERY argument otype T_END          { $$ = WGLQuery($3, $4); }
  | T_BEGIN T_QUERY argument otype                { WGLBeginRows(1, $3, $4); }
      T_DO argument T_END                         { $$ = WGLEndRows(1, $7); }
  | T_BEGIN T_QUERY argument T_ROWCOUNT T_END     { $$ = WGLCountRows($3); }
  | T_BEGIN T_IF boolean T_THEN T_QUERY argument otype T_END
      { $$ = WGLQueryIf($3, $6, $7); }
  | T_BEGIN T_IF boolean T_THEN T_QUERY argument otype
      { WGLBeginRows($3, $6, $7); }
      T_DO argument T_END                         { $$ = WGLEndRows($3, $10); }
;

%%

int WGLParse() { return yywglparse(); }
