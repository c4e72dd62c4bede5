// SPDX-License-Identifier: MIT
//
// How a text counts as a number, for templates and requests alike.
#pragma once

// As atoi: leading white space skipped, an optional sign, digits up to the first other byte; 0 when
// there are none. A number beyond the range of int becomes the nearest int, so that a template
// gives the same page on a 64-bit workstation as on the 32-bit device.
int WGLToInt(const char* text);
