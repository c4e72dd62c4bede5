// SPDX-License-Identifier: MIT
//
// The interface of the generated scanner: tokens for the parser, input buffers for the include
// stack. A process has one scanner, which reads one main template.
#pragma once

#include <cstdio>

struct yy_buffer_state;

// The first size of a file's buffer; it doubles when a token outgrows it.
constexpr int kWGLScannerBufferBytes = 16384;

// The next token (a T_... code of WGLParser.hpp, 0 at the end of the main template); yywgllval
// holds its value. A lexical error is reported and ends the process with status 1, an internal
// failure with status 2.
int yywgllex();

// The file being read.
extern FILE* yywglin;

// A new buffer that reads `file`; the scanner owns it until it is deleted.
yy_buffer_state* yywgl_create_buffer(FILE* file, int size);

// Continues to read from `buffer`, where it was left. Sets yywglin.
void yywgl_switch_to_buffer(yy_buffer_state* buffer);

// Frees a buffer, but not its file. Ignores null.
void yywgl_delete_buffer(yy_buffer_state* buffer);

// The buffer being read from.
yy_buffer_state* yywglCurrentBuffer();
