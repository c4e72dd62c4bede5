/* SPDX-License-Identifier: MIT */
/*
 * Reports what one run of a program takes from the system: page faults since exec, peak memory,
 * system calls. It traces the program and reads the counters exactly at its exec and at its exit,
 * so that they leave out what the process did before (fork, this program's memory). The one rule:
 * tracing slows a program down, so no figure here is a time.
 *
 * usage: resources [-t] PROGRAM [ARGUMENT ...]
 *   -t  one line of tab-separated values with a heading instead of "name: value" lines
 * Standard input is passed on, standard output is read through a pipe and counted.
 *
 * The peak is given twice. `peak_kib` is the largest resident size found by walking the page
 * tables before every system call and at the exit; a process of one thread shrinks only in system
 * calls, so nothing is missed. `hwm_kib` is the kernel's own high-water mark (VmHWM), which
 * many kernels keep in per-processor counters and may misstate by dozens of pages.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

enum {
  READ_SIZE = 65536,
  EXIT_NO_EXEC = 127,
  /* Fields of /proc/PID/stat after the command name's ")". */
  STAT_FIELD_MINFLT = 8,
  STAT_FIELD_MAJFLT = 10,
};

typedef struct {
  unsigned long minor;
  unsigned long major;
} Faults;

static void Fail(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fputs("resources: ", stderr);
  vfprintf(stderr, format, arguments);
  fputc('\n', stderr);
  va_end(arguments);
  exit(1);
}

static void ReadProcFile(pid_t process, const char* name, char* text, size_t size) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/%s", (int)process, name);
  int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) Fail("%s: %s", path, strerror(errno));
  size_t length = 0;
  ssize_t got;
  while (length < size - 1 && (got = read(file, text + length, size - 1 - length)) > 0)
    length += (size_t)got;
  text[length] = '\0';
  close(file);
}

static Faults ReadFaults(pid_t process) {
  char text[1024];
  ReadProcFile(process, "stat", text, sizeof text);
  Faults faults = {0, 0};
  /* The command name may hold blanks and brackets, so count the fields from its last bracket. */
  char* field = strrchr(text, ')');
  if (field == NULL) Fail("/proc/%d/stat has no command name", (int)process);
  int number = 0;
  for (field = strtok(field + 1, " "); field != NULL; field = strtok(NULL, " ")) {
    ++number;
    if (number == STAT_FIELD_MINFLT) faults.minor = strtoul(field, NULL, 10);
    if (number == STAT_FIELD_MAJFLT) faults.major = strtoul(field, NULL, 10);
  }
  return faults;
}

static unsigned long ReadKib(pid_t process, const char* file, const char* key) {
  char text[8192];
  ReadProcFile(process, file, text, sizeof text);
  char* line = strstr(text, key);
  if (line == NULL) Fail("/proc/%d/%s has no %s", (int)process, file, key);
  return strtoul(line + strlen(key), NULL, 10);
}

/* Counts the bytes that arrive at the pipe without keeping them, and hands the count to the parent
   at the end. It is a process of its own because the tracer sleeps in waitpid. */
static pid_t StartDrain(int input, int result) {
  pid_t drain = fork();
  if (drain != 0) return drain;
  static char buffer[READ_SIZE];
  uint64_t bytes = 0;
  ssize_t got;
  while ((got = read(input, buffer, sizeof buffer)) != 0) {
    if (got > 0)
      bytes += (uint64_t)got;
    else if (errno != EINTR)
      _exit(1);
  }
  _exit(write(result, &bytes, sizeof bytes) == sizeof bytes ? 0 : 1);
}

int main(int argc, char** argv) {
  bool separated = false;
  int first = 1;
  if (argc > 1 && strcmp(argv[1], "-t") == 0) {
    separated = true;
    first = 2;
  }
  if (argc <= first) Fail("usage: resources [-t] PROGRAM [ARGUMENT ...]");

  int output[2];
  int result[2];
  if (pipe2(output, O_CLOEXEC) != 0 || pipe2(result, O_CLOEXEC) != 0)
    Fail("pipe: %s", strerror(errno));

  pid_t child = fork();
  if (child < 0) Fail("fork: %s", strerror(errno));
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, NULL, NULL) != 0 || dup2(output[1], STDOUT_FILENO) < 0)
      _exit(EXIT_NO_EXEC);
    raise(SIGSTOP);
    execv(argv[first], argv + first);
    _exit(EXIT_NO_EXEC);
  }
  close(output[1]);
  pid_t drain = StartDrain(output[0], result[1]);
  if (drain < 0) Fail("fork: %s", strerror(errno));
  close(output[0]);
  close(result[1]);

  int status;
  if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) Fail("the child does not stop");
  long options =
      PTRACE_O_TRACEEXEC | PTRACE_O_TRACEEXIT | PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL;
  if (ptrace(PTRACE_SETOPTIONS, child, NULL, options) != 0) Fail("ptrace: %s", strerror(errno));

  bool started = false;
  bool inCall = false;
  unsigned long calls = 0;
  unsigned long peakKib = 0;
  unsigned long highWaterKib = 0;
  Faults before = {0, 0};
  Faults after = {0, 0};
  int deliver = 0;
  for (;;) {
    if (ptrace(PTRACE_SYSCALL, child, NULL, (long)deliver) != 0)
      Fail("ptrace: %s", strerror(errno));
    deliver = 0;
    if (waitpid(child, &status, 0) != child) Fail("waitpid: %s", strerror(errno));
    if (WIFEXITED(status) || WIFSIGNALED(status)) break;
    int stop = status >> 8;
    if (stop == (SIGTRAP | PTRACE_EVENT_EXEC << 8)) {
      started = true;
      calls = 0;
      peakKib = 0;
      inCall = true; /* the stop at the end of execve itself follows */
      before = ReadFaults(child);
    } else if (stop == (SIGTRAP | PTRACE_EVENT_EXIT << 8)) {
      after = ReadFaults(child);
      unsigned long now = ReadKib(child, "smaps_rollup", "Rss:");
      peakKib = now > peakKib ? now : peakKib;
      highWaterKib = ReadKib(child, "status", "VmHWM:");
    } else if (stop == (SIGTRAP | 0x80)) {
      if (started && !inCall) {
        ++calls;
        unsigned long now = ReadKib(child, "smaps_rollup", "Rss:");
        peakKib = now > peakKib ? now : peakKib;
      }
      if (started) inCall = !inCall;
    } else {
      deliver = WSTOPSIG(status);
    }
  }

  if (!started || (WIFEXITED(status) && WEXITSTATUS(status) == EXIT_NO_EXEC))
    Fail("cannot start %s", argv[first]);
  if (WIFSIGNALED(status)) Fail("%s: ended by signal %d", argv[first], WTERMSIG(status));
  if (WEXITSTATUS(status) != 0) Fail("%s: ended with status %d", argv[first], WEXITSTATUS(status));

  uint64_t bytes = 0;
  if (read(result[0], &bytes, sizeof bytes) != sizeof bytes) Fail("the output was not counted");
  waitpid(drain, NULL, 0);

  unsigned long minor = after.minor - before.minor;
  unsigned long major = after.major - before.major;
  if (separated)
    printf(
        "faults\tmajor_faults\tpeak_kib\thwm_kib\tsystem_calls\tbytes\n"
        "%lu\t%lu\t%lu\t%lu\t%lu\t%llu\n",
        minor + major, major, peakKib, highWaterKib, calls, (unsigned long long)bytes);
  else
    printf(
        "faults: %lu\nmajor faults: %lu\npeak: %lu KiB\nkernel's VmHWM: %lu KiB\n"
        "system calls: %lu\nbytes written: %llu\n",
        minor + major, major, peakKib, highWaterKib, calls, (unsigned long long)bytes);
  return 0;
}
