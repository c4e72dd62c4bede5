/* SPDX-License-Identifier: MIT */
/*
 * The floor of an upload: reads the whole body, finds the boundary with memmem and writes what is
 * between the part's headers and the next boundary to UPLOAD_FILE. Then it writes the response, the
 * file RESPONSE_FILE at build time. It knows only BOUNDARY of the request, and checks nothing.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
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

static const char delimiter[] = "\r\n--" BOUNDARY;
static const char headersEnd[] = "\r\n\r\n";

static int WriteAll(int file, const char* next, const char* end) {
  while (next < end) {
    ssize_t written = write(file, next, (size_t)(end - next));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return 1;
    next += written;
  }
  return 0;
}

int main(void) {
  struct stat status;
  if (fstat(STDIN_FILENO, &status) != 0) return 1;
  size_t size = (size_t)status.st_size;
  char* body = malloc(size + 1);
  if (body == NULL) return 1;
  size_t length = 0;
  while (length < size) {
    ssize_t got = read(STDIN_FILENO, body + length, size - length);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return 1;
    length += (size_t)got;
  }

  const char* end = body + length;
  const char* start = memmem(body, length, headersEnd, sizeof headersEnd - 1);
  if (start == NULL) return 1;
  start += sizeof headersEnd - 1;
  const char* stop = memmem(start, (size_t)(end - start), delimiter, sizeof delimiter - 1);
  if (stop == NULL) return 1;
  int file = open(UPLOAD_FILE, O_CREAT | O_TRUNC | O_WRONLY, 0600);
  if (file < 0 || WriteAll(file, start, stop) || close(file) != 0) return 1;
  return WriteAll(STDOUT_FILENO, responseStart, responseEnd);
}
