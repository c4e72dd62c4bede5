/* SPDX-License-Identifier: MIT */
/*
 * Sends queries to the system manager from outside, byte by byte: from many clients at once, each
 * with one unanswered query, or from a single one to measure a round trip. The one rule: every
 * answer is read whole and must be a success; a missing, refused or cut one ends the run with
 * status 1.
 *
 * usage: sysmgr-load [-s SOCKET] [-a AUTHORISATION] [-c CLIENTS] [-n QUERIES] [-k KEY] [-p PID]
 *   -s  socket (default /var/run/sysmgr/socket)
 *   -a  the authorisation itself (default: none)
 *   -c  clients at once (default 1)
 *   -n  queries of all clients together (default 20000)
 *   -k  the key to ask for (default System.ProductName)
 *   -p  process whose resident memory is shown, after a tenth of the queries and at the end
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

enum {
  MAX_CLIENTS = 1000,
  MAX_QUERIES = 10000000,
  MAX_REQUEST = 8192,
  READ_SIZE = 65536,
  /* Longer than any deadline of the service: after this time, the answer is lost. */
  WAIT_MILLISECONDS = 15000,
};

typedef struct {
  int socket;
  int busy;
  int64_t sent;  /* nanoseconds */
  char head[32]; /* the first bytes of the answer */
  size_t received;
  size_t expected; /* 0 while the length isn't known */
} Client;

static char readBuffer[READ_SIZE];

static void Fail(const char* what) {
  fprintf(stderr, "sysmgr-load: %s (%s)\n", what, strerror(errno));
  exit(1);
}

static int64_t Now(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (int64_t)now.tv_sec * 1000000000 + now.tv_nsec;
}

static size_t AppendNetstring(char* out, size_t size, const char* text, size_t length) {
  int head = snprintf(out + size, MAX_REQUEST - size, "%zu:", length);
  if (head < 0 || size + (size_t)head + length + 2 > MAX_REQUEST) {
    fprintf(stderr, "sysmgr-load: key or authorisation is too long\n");
    exit(2);
  }
  size += (size_t)head;
  memcpy(out + size, text, length);
  size += length;
  out[size++] = ',';
  return size;
}

static long ResidentKilobytes(const char* pid) {
  char path[64];
  char line[256];
  long kilobytes = -1;
  snprintf(path, sizeof path, "/proc/%s/status", pid);
  FILE* file = fopen(path, "r");
  if (file == NULL) return -1;
  while (fgets(line, sizeof line, file) != NULL) {
    if (strncmp(line, "VmRSS:", 6) == 0) kilobytes = strtol(line + 6, NULL, 10);
  }
  fclose(file);
  return kilobytes;
}

static int Compare(const void* left, const void* right) {
  int64_t a = *(const int64_t*)left;
  int64_t b = *(const int64_t*)right;
  return (a > b) - (a < b);
}

static void Send(Client* client, const char* request, size_t size) {
  client->received = client->expected = 0;
  client->busy = 1;
  client->sent = Now();
  /* One request fits into any socket buffer. */
  if (send(client->socket, request, size, MSG_NOSIGNAL) != (ssize_t)size)
    Fail("a request was not taken");
}

/* Returns 1 when the answer is whole. */
static int Receive(Client* client) {
  ssize_t count = recv(client->socket, readBuffer, sizeof readBuffer, 0);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return 0;
  if (count <= 0) Fail("a connection was closed");
  if (client->received < sizeof client->head) {
    size_t room = sizeof client->head - client->received;
    memcpy(client->head + client->received, readBuffer,
           (size_t)count < room ? (size_t)count : room);
  }
  client->received += (size_t)count;
  if (client->expected == 0) {
    size_t known = client->received < sizeof client->head ? client->received : sizeof client->head;
    const char* colon = memchr(client->head, ':', known);
    if (colon == NULL) return 0;
    size_t headSize = (size_t)(colon + 1 - client->head);
    if (known < headSize + 4) return 0;
    if (memcmp(colon + 1, "1:0,", 4) != 0) Fail("a query was refused");
    client->expected = headSize + strtoul(client->head, NULL, 10) + 1;
  }
  if (client->received > client->expected) Fail("an answer is too long");
  return client->received == client->expected;
}

int main(int count, char** arguments) {
  const char* path = "/var/run/sysmgr/socket";
  const char* authorisation = "";
  const char* key = "System.ProductName";
  const char* pid = NULL;
  long clients = 1;
  long queries = 20000;
  int option;
  while ((option = getopt(count, arguments, "s:a:c:n:k:p:")) != -1) {
    if (option == 's')
      path = optarg;
    else if (option == 'a')
      authorisation = optarg;
    else if (option == 'c')
      clients = strtol(optarg, NULL, 10);
    else if (option == 'n')
      queries = strtol(optarg, NULL, 10);
    else if (option == 'k')
      key = optarg;
    else if (option == 'p')
      pid = optarg;
    else
      return 2;
  }
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  if (optind != count || clients < 1 || clients > MAX_CLIENTS || queries < clients ||
      queries > MAX_QUERIES || strlen(path) >= sizeof address.sun_path) {
    fprintf(stderr, "sysmgr-load: wrong arguments, see the top of its source\n");
    return 2;
  }
  strcpy(address.sun_path, path);

  char payload[MAX_REQUEST];
  char request[MAX_REQUEST];
  size_t size = AppendNetstring(payload, 0, "query", 5);
  size = AppendNetstring(payload, size, "load", 4);
  size = AppendNetstring(payload, size, authorisation, strlen(authorisation));
  size = AppendNetstring(payload, size, "load", 4);
  size = AppendNetstring(payload, size, key, strlen(key));
  size = AppendNetstring(payload, size, "0", 1);
  size_t requestSize = AppendNetstring(request, 0, payload, size);

  Client* all = calloc((size_t)clients, sizeof *all);
  int64_t* times = calloc((size_t)queries, sizeof *times);
  int events = epoll_create1(0);
  if (all == NULL || times == NULL || events < 0) Fail("out of resources");
  for (long i = 0; i < clients; ++i) {
    all[i].socket = socket(AF_UNIX, SOCK_STREAM, 0);
    if (all[i].socket < 0 ||
        connect(all[i].socket, (struct sockaddr*)&address, sizeof address) != 0) {
      Fail("can't connect");
    }
    struct epoll_event event = {.events = EPOLLIN, .data.ptr = &all[i]};
    if (epoll_ctl(events, EPOLL_CTL_ADD, all[i].socket, &event) != 0) Fail("epoll_ctl");
  }

  long sent = 0;
  long answered = 0;
  long early = -1;
  int64_t begin = Now();
  for (; sent < clients; ++sent) Send(&all[sent], request, requestSize);
  while (answered < queries) {
    struct epoll_event ready[64];
    int number = epoll_wait(events, ready, 64, WAIT_MILLISECONDS);
    if (number < 0 && errno == EINTR) continue;
    if (number <= 0) Fail("an answer is missing");
    for (int i = 0; i < number; ++i) {
      Client* client = ready[i].data.ptr;
      if (!Receive(client)) continue;
      times[answered++] = Now() - client->sent;
      client->busy = 0;
      if (sent < queries) {
        Send(client, request, requestSize);
        ++sent;
      }
    }
    if (pid != NULL && early < 0 && answered >= queries / 10) early = ResidentKilobytes(pid);
  }
  double seconds = (double)(Now() - begin) / 1e9;
  qsort(times, (size_t)queries, sizeof *times, Compare);
  printf("clients %ld  queries %ld  answered %ld  lost %ld\n", clients, sent, answered,
         sent - answered);
  printf("seconds %.3f  queries/s %.0f\n", seconds, (double)answered / seconds);
  printf("round trip, microseconds: median %.1f  p90 %.1f  p99 %.1f  largest %.1f\n",
         (double)times[queries / 2] / 1e3, (double)times[queries * 9 / 10] / 1e3,
         (double)times[queries * 99 / 100] / 1e3, (double)times[queries - 1] / 1e3);
  if (pid != NULL)
    printf("resident kB: after a tenth %ld  at the end %ld\n", early, ResidentKilobytes(pid));
  free(times);
  free(all);
  return 0;
}
