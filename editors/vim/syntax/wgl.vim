" SPDX-License-Identifier: MIT
" WGL templates: HTML with commands between <~ and ~>, strings between backquotes, and ${variables}.
if exists('b:current_syntax')
  finish
endif
runtime! syntax/html.vim
unlet! b:current_syntax

syntax case match
syntax match wglVariable /\${\h\w*\%( htmltext\| htmlesc\)\=}/ containedin=ALL
syntax match wglPlaceholder /\${\%(\d\d\u\=\|ROW\)}/ containedin=ALLBUT,wglComment
syntax region wglCommand matchgroup=wglDelimiter start=/<\~/ end=/\~>/ containedin=ALLBUT,wglComment
      \ contains=wglCommand,wglString,wglKeyword,wglOperator,wglVariable
syntax region wglComment start=/<\~\_s*-\_s*`/ end=/`\_s*\~>/ containedin=ALLBUT,wglComment
      \ contains=wglCommand,wglVariable
syntax region wglString start=/`/ end=/`/ contained contains=wglCommand,wglComment,wglVariable,wglPlaceholder
syntax match wglKeyword /include\|trans\|set\|get\|query\|rowcount\|raw\|json\|if\|then\|else\|do/ contained
syntax match wglOperator /eq\|ne\|gt\|ge\|lt\|le\|[+-]/ contained

highlight default link wglDelimiter Delimiter
highlight default link wglKeyword Statement
highlight default link wglOperator Operator
highlight default link wglString String
highlight default link wglVariable Identifier
highlight default link wglPlaceholder Special
highlight default link wglComment Comment
let b:current_syntax = 'wgl'
