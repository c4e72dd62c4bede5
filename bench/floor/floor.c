/* SPDX-License-Identifier: MIT */
/*
 * The floor: the least that a process can do to deliver a page. It contains the finished response,
 * the file RESPONSE_FILE at build time, and writes it in one go. Reports give every time as a
 * multiple of this program's.
 */
#include <errno.h>
#include <stddef.h>
#include <unistd.h>

__asm__(
    ".section .rodata\n"
    ".balign 64\n"
    "responseStart:\n"
    ".incbin \"" RESPONSE_FILE
    "\"\n"
    "responseEnd:\n"
    ".previous\n");

extern const char responseStart[];
extern const char responseEnd[];

int main(void) {
  const char* next = responseStart;
  while (next < responseEnd) {
    ssize_t written = write(STDOUT_FILENO, next, (size_t)(responseEnd - next));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return 1;
    next += written;
  }
  return 0;
}
