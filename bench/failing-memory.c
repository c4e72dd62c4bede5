// SPDX-License-Identifier: MIT
//
// A library to load before a program (LD_PRELOAD): the program's allocation number FAIL_ALLOCATION,
// from 1, fails, and with FAIL_ONWARD all after it too. Without these, it counts the allocations
// and writes their number to standard error when the program exits.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

// glibc's own names, which need no search for the functions that are replaced here.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

static unsigned long count, failing;
static int onward;

// The loader allocates before it calls this.
__attribute__((constructor)) static void begin(void) {
  const char* number = getenv("FAIL_ALLOCATION");
  count = 0;
  failing = number != NULL ? strtoul(number, NULL, 10) : 0;
  onward = getenv("FAIL_ONWARD") != NULL;
}

__attribute__((destructor)) static void end(void) {
  char text[32];
  const int size = snprintf(text, sizeof text, "%lu", count);
  if (failing == 0 && write(STDERR_FILENO, text, (size_t)size) != size) _exit(3);
}

static int fails(void) {
  ++count;
  if (failing == 0 || (onward ? count < failing : count != failing)) return 0;
  errno = ENOMEM;
  return 1;
}

void* malloc(size_t size) {
  return fails() ? NULL : __libc_malloc(size);
}
void* calloc(size_t number, size_t size) {
  return fails() ? NULL : __libc_calloc(number, size);
}
void* realloc(void* memory, size_t size) {
  return fails() ? NULL : __libc_realloc(memory, size);
}
