// SPDX-License-Identifier: MIT
//
// Converts texts to numbers, for templates and requests alike.
#pragma once

// As atoi: skips leading white space, takes an optional sign and digits up to the first other byte;
// 0 when there are no digits. A number beyond the range of int becomes the nearest int, so that a
// template gives the same page on a 64-bit workstation and on the 32-bit device.
int WGLToInt(const char* text);
