/* SPDX-License-Identifier: MIT */
/*
 * The yardstick for growing pages: reads all of standard input into memory, as a page generator
 * must that writes nothing before the end, and then writes it after the header block in one go. Its
 * cost per megabyte is the machine's own share of the cost of a page.
 */
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static const char headers[] =
    "Content-Type: text/html\r\n"
    "Pragma: no-cache\r\n"
    "Cache-Control: no-cache\r\n"
    "Expires: -1\r\n"
    "\r\n";

static int WriteAll(const char* next, size_t left) {
  while (left > 0) {
    ssize_t written = write(STDOUT_FILENO, next, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return 1;
    next += written;
    left -= (size_t)written;
  }
  return 0;
}

int main(void) {
  struct stat file;
  if (fstat(STDIN_FILENO, &file) != 0) return 1;
  size_t size = (size_t)file.st_size;
  char* page = malloc(size + 1);
  if (page == NULL) return 1;
  size_t length = 0;
  while (length < size) {
    ssize_t got = read(STDIN_FILENO, page + length, size - length);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return 1;
    length += (size_t)got;
  }
  return WriteAll(headers, strlen(headers)) || WriteAll(page, length);
}
