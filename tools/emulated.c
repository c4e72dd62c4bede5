// SPDX-License-Identifier: MIT
//
// Takes a program's place in the tests of a cross build: starts NAME.real beside it in the
// emulator, with the same arguments, environment and descriptors. EMULATOR holds the emulator's
// words.
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

enum { kMaxArguments = 4096 };

int main(int count, char** arguments) {
  static char* const emulator[] = {EMULATOR};
  char program[PATH_MAX];
  char* words[kMaxArguments];
  int used = 0;
  const ssize_t length = readlink("/proc/self/exe", program, sizeof program - sizeof ".real");
  if (length < 0 || count > kMaxArguments - 16) return 126;
  memcpy(program + length, ".real", sizeof ".real");
  for (size_t word = 0; word < sizeof emulator / sizeof *emulator; ++word)
    words[used++] = emulator[word];
  words[used++] = "-0";
  words[used++] = arguments[0];
  words[used++] = program;
  for (int argument = 1; argument <= count; ++argument)
    words[used++] = arguments[argument];  // and the null
  execv(words[0], words);
  perror(words[0]);
  return 126;
}
