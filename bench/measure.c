/* SPDX-License-Identifier: MIT */
/*
 * Times whole processes in turns: every round starts each program once (fork, exec, read all of its
 * output through a pipe, wait), so that other load on the machine affects all of them alike. The
 * one rule: a time counts only if the run ended with status 0 and wrote exactly what the first
 * program, the floor, wrote; anything else ends the measurement with an error.
 *
 * usage: measure [-n ROUNDS] [-w WARMUP] [-c CPU] [-d] [-t] NAME=PROGRAM ...
 *   -n  timed rounds (default 1000)
 *   -w  rounds before them that are thrown away (default 20); in these the content is compared
 *   -c  pin this process and its children to one processor (default: pinned nowhere)
 *   -d  the programs write different things, such as live values; checks only that each one writes
 *       something
 *   -t  tab-separated values in nanoseconds instead of the aligned table in microseconds
 * A PROGRAM is started without arguments and with the caller's environment. "@FILE" after its name
 * makes FILE its standard input; otherwise that is /dev/null. "?TEXT" at the end makes TEXT its
 * QUERY_STRING, so that one program can be compared on several pages.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum {
  MAX_PROGRAMS = 16,
  DEFAULT_ROUNDS = 1000,
  DEFAULT_WARMUP = 20,
  MAX_ROUNDS = 10000000,
  /* The pipe's own default capacity: one read empties a full pipe. */
  READ_SIZE = 65536,
  EXIT_NO_EXEC = 127,
};

typedef struct {
  const char* name;
  const char* path;
  const char* input;
  char** environment;
  int64_t* nanoseconds;
} Program;

typedef struct {
  uint64_t bytes;
  uint64_t checksum; /* FNV-1a, only when asked for */
  int64_t nanoseconds;
} Run;

static char readBuffer[READ_SIZE];

static void Fail(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fputs("measure: ", stderr);
  vfprintf(stderr, format, arguments);
  fputc('\n', stderr);
  va_end(arguments);
  exit(1);
}

static int64_t Now(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (int64_t)now.tv_sec * 1000000000 + now.tv_nsec;
}

static uint64_t Checksum(uint64_t sum, const char* bytes, size_t length) {
  for (size_t i = 0; i < length; ++i)
    sum = (sum ^ (unsigned char)bytes[i]) * UINT64_C(1099511628211);
  return sum;
}

static void ExecChild(const Program* program, int output) {
  int input = open(program->input, O_RDONLY);
  if (input < 0 || dup2(input, STDIN_FILENO) < 0 || dup2(output, STDOUT_FILENO) < 0)
    _exit(EXIT_NO_EXEC);
  if (input > STDERR_FILENO) close(input);
  char* const arguments[] = {(char*)program->path, NULL};
  execve(program->path, arguments, program->environment);
  _exit(EXIT_NO_EXEC);
}

static Run RunOnce(const Program* program, bool checksum) {
  Run run = {.checksum = UINT64_C(14695981039346656037)};
  int64_t start = Now();

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) Fail("pipe: %s", strerror(errno));
  pid_t child = fork();
  if (child < 0) Fail("fork: %s", strerror(errno));
  if (child == 0) ExecChild(program, ends[1]);
  close(ends[1]);

  for (;;) {
    ssize_t got = read(ends[0], readBuffer, sizeof readBuffer);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) Fail("%s: reading its output: %s", program->name, strerror(errno));
    if (got == 0) break;
    run.bytes += (uint64_t)got;
    if (checksum) run.checksum = Checksum(run.checksum, readBuffer, (size_t)got);
  }
  close(ends[0]);

  int status;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) Fail("waitpid: %s", strerror(errno));
  run.nanoseconds = Now() - start;

  if (WIFSIGNALED(status)) Fail("%s: ended by signal %d", program->name, WTERMSIG(status));
  if (WEXITSTATUS(status) == EXIT_NO_EXEC)
    Fail("%s: cannot be started: %s (or it ended with status 127)", program->name, program->path);
  if (WEXITSTATUS(status) != 0)
    Fail("%s: ended with status %d", program->name, WEXITSTATUS(status));
  return run;
}

static void CheckOutput(const Program* program, const Program* first, uint64_t bytes,
                        uint64_t expected, bool different) {
  if (different ? bytes == 0 : bytes != expected)
    Fail("%s: wrote %llu bytes where %s wrote %llu", program->name, (unsigned long long)bytes,
         first->name, (unsigned long long)expected);
}

static int CompareTimes(const void* left, const void* right) {
  int64_t a = *(const int64_t*)left;
  int64_t b = *(const int64_t*)right;
  return (a > b) - (a < b);
}

/* The value below which a `part` of the sorted times are, interpolated between its two neighbours.
 */
static double Quantile(const int64_t* sorted, long count, double part) {
  double place = part * (double)(count - 1);
  long below = (long)place;
  long above = below + 1 < count ? below + 1 : below;
  double fraction = place - (double)below;
  return (double)sorted[below] * (1 - fraction) + (double)sorted[above] * fraction;
}

static long Number(const char* text, long least, long most, const char* what) {
  char* end;
  errno = 0;
  long value = strtol(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || value < least || value > most)
    Fail("%s: '%s' is not a number from %ld to %ld", what, text, least, most);
  return value;
}

static void Pin(long processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET((int)processor, &set);
  if (sched_setaffinity(0, sizeof set, &set) != 0)
    Fail("cannot pin to processor %ld: %s", processor, strerror(errno));
}

/* The caller's environment with another query string. It is made once, so that every start costs
   the same. */
static char** EnvironmentWith(const char* query) {
  static const char name[] = "QUERY_STRING=";
  size_t count = 0;
  while (environ[count] != NULL) ++count;
  char** result = calloc(count + 2, sizeof *result);
  char* text = malloc(sizeof name + strlen(query));
  if (result == NULL || text == NULL) Fail("no memory for an environment");
  strcat(strcpy(text, name), query);
  size_t place = count;
  for (size_t i = 0; i < count; ++i) {
    result[i] = environ[i];
    if (strncmp(environ[i], name, sizeof name - 1) == 0) place = i;
  }
  result[place] = text;
  return result;
}

static void Report(const Program* programs, int count, long rounds, uint64_t bytes,
                   bool separated) {
  double floorMedian = 0;
  int width = 7;
  for (int i = 0; i < count; ++i)
    if ((int)strlen(programs[i].name) > width) width = (int)strlen(programs[i].name);

  if (separated)
    printf("name\tmedian_ns\tq1_ns\tq3_ns\tmin_ns\tratio\trounds\tbytes\n");
  else
    printf("%-*s %12s %12s %12s %12s %8s   (us; %ld rounds, %llu bytes)\n", width, "program",
           "median", "quartile 1", "quartile 3", "least", "ratio", rounds,
           (unsigned long long)bytes);

  for (int i = 0; i < count; ++i) {
    qsort(programs[i].nanoseconds, (size_t)rounds, sizeof(int64_t), CompareTimes);
    double median = Quantile(programs[i].nanoseconds, rounds, 0.5);
    double lower = Quantile(programs[i].nanoseconds, rounds, 0.25);
    double upper = Quantile(programs[i].nanoseconds, rounds, 0.75);
    double least = (double)programs[i].nanoseconds[0];
    if (i == 0) floorMedian = median;
    if (separated)
      printf("%s\t%.0f\t%.0f\t%.0f\t%.0f\t%.4f\t%ld\t%llu\n", programs[i].name, median, lower,
             upper, least, median / floorMedian, rounds, (unsigned long long)bytes);
    else
      printf("%-*s %12.1f %12.1f %12.1f %12.1f %8.3f\n", width, programs[i].name, median / 1000,
             lower / 1000, upper / 1000, least / 1000, median / floorMedian);
  }
}

int main(int argc, char** argv) {
  long rounds = DEFAULT_ROUNDS;
  long warmup = DEFAULT_WARMUP;
  bool separated = false;
  bool different = false;
  int option;
  while ((option = getopt(argc, argv, "n:w:c:dt")) != -1) {
    switch (option) {
      case 'n':
        rounds = Number(optarg, 1, MAX_ROUNDS, "-n");
        break;
      case 'w':
        warmup = Number(optarg, 1, MAX_ROUNDS, "-w");
        break;
      case 'c':
        Pin(Number(optarg, 0, CPU_SETSIZE - 1, "-c"));
        break;
      case 'd':
        different = true;
        break;
      case 't':
        separated = true;
        break;
      default:
        Fail("usage: measure [-n ROUNDS] [-w WARMUP] [-c CPU] [-d] [-t] NAME=PROGRAM ...");
    }
  }

  Program programs[MAX_PROGRAMS];
  int count = argc - optind;
  if (count < 1 || count > MAX_PROGRAMS)
    Fail("1 to %d programs are needed, in the form NAME=PROGRAM", MAX_PROGRAMS);
  for (int i = 0; i < count; ++i) {
    char* text = argv[optind + i];
    char* equals = strchr(text, '=');
    if (equals == NULL || equals == text || equals[1] == '\0')
      Fail("'%s' is not of the form NAME=PROGRAM", text);
    *equals = '\0';
    programs[i] =
        (Program){.name = text, .path = equals + 1, .input = "/dev/null", .environment = environ};
    char* query = strchr(equals + 1, '?');
    if (query != NULL) {
      *query = '\0';
      programs[i].environment = EnvironmentWith(query + 1);
    }
    char* at = strchr(equals + 1, '@');
    if (at != NULL) {
      *at = '\0';
      programs[i].input = at + 1;
    }
    programs[i].nanoseconds = malloc((size_t)rounds * sizeof(int64_t));
    if (programs[i].nanoseconds == NULL) Fail("no memory for %ld rounds", rounds);
  }

  Run expected = {0};
  for (long round = 0; round < warmup; ++round) {
    for (int i = 0; i < count; ++i) {
      Run run = RunOnce(&programs[i], true);
      if (round == 0 && i == 0) expected = run;
      CheckOutput(&programs[i], &programs[0], run.bytes, expected.bytes, different);
      if (!different && run.checksum != expected.checksum)
        Fail("%s: wrote other bytes than %s", programs[i].name, programs[0].name);
    }
  }

  /* Each round begins with another program, because a program's time depends on what ran before it.
   */
  for (long round = 0; round < rounds; ++round) {
    for (int step = 0; step < count; ++step) {
      int i = (int)((round + step) % count);
      Run run = RunOnce(&programs[i], false);
      CheckOutput(&programs[i], &programs[0], run.bytes, expected.bytes, different);
      programs[i].nanoseconds[round] = run.nanoseconds;
    }
  }

  Report(programs, count, rounds, expected.bytes, separated);
  return 0;
}
