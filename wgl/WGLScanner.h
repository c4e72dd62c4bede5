// SPDX-License-Identifier: MIT
//
// The generated scanner as its neighbours see it: tokens for the parser, input buffers for the
// include stack. There is one scanner in a process, and it reads one main template.
#pragma once

#include <cstdio>

struct yy_buffer_state;

// The capacity a file's buffer starts with, in bytes; it doubles when a token outgrows it.
constexpr int kWGLScannerBufferBytes = 16384;

// The next token (a T_... code of WGLParser.hpp, 0 at the end of the main template); its value is
// in yywgllval. A lexical error is reported and ends the process with status 1, an internal failure
// with status 2.
int yywgllex();

// The file being read.
extern FILE* yywglin;

// A new buffer that reads `file`; owned by the scanner until it is deleted.
yy_buffer_state* yywgl_create_buffer(FILE* file, int size);

// Reads from `buffer` from now on, from where it was left. Sets yywglin.
void yywgl_switch_to_buffer(yy_buffer_state* buffer);

// Frees a buffer, not the file behind it. Null is nothing.
void yywgl_delete_buffer(yy_buffer_state* buffer);

// The buffer being read from.
yy_buffer_state* yywglCurrentBuffer();
