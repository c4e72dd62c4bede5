// SPDX-License-Identifier: MIT
//
// Loaded before a program (LD_PRELOAD), records what it does to the files of a folder, and makes
// its syncs take longer. VISTEL_DISK_FOLDER: the folder; VISTEL_DISK_RECORD: the file that gets the
// records; VISTEL_DISK_DELAY: milliseconds.
//
// A record is a line, "KIND NAME OFFSET SIZE", and SIZE bytes: W (written there), T (cut to OFFSET
// bytes), S (synced; the folder itself is "."), C (made), U (removed), R (renamed to the bytes).
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

static pthread_mutex_t order = PTHREAD_MUTEX_INITIALIZER;

// The name in the folder; NULL for a file somewhere else.
static const char* NameOf(const char* path) {
  const char* folder = getenv("VISTEL_DISK_FOLDER");
  const size_t size = folder == NULL ? 0 : strlen(folder);
  if (size == 0 || strncmp(path, folder, size) != 0) return NULL;
  if (path[size] == '\0') return ".";
  return path[size] == '/' && strchr(path + size + 1, '/') == NULL ? path + size + 1 : NULL;
}

static const char* NameOfDescriptor(int descriptor, char path[PATH_MAX]) {
  char link[64];
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const ssize_t size = readlink(link, path, PATH_MAX - 1);
  if (size < 0) return NULL;
  path[size] = '\0';
  return NameOf(path);
}

// The lock makes sure that records are in the order of what they tell.
static void Record(char kind, const char* name, long long offset, const void* bytes, size_t size) {
  const char* record = getenv("VISTEL_DISK_RECORD");
  if (record == NULL) return;
  char head[512];
  const int length = snprintf(head, sizeof head, "%c %s %lld %zu\n", kind, name, offset, size);
  const int file = REAL(open)(record, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  const struct iovec parts[] = {{head, (size_t)length}, {(void*)bytes, size}};
  if (writev(file, parts, 2) != length + (ssize_t)size) abort();
  close(file);
}

static ssize_t Write(int descriptor, const void* bytes, size_t size, long long offset) {
  char path[PATH_MAX];
  const char* name = NameOfDescriptor(descriptor, path);
  pthread_mutex_lock(&order);
  const long long at = offset >= 0 ? offset : lseek(descriptor, 0, SEEK_CUR);
  const ssize_t done = offset >= 0 ? REAL(pwrite)(descriptor, bytes, size, offset)
                                   : REAL(write)(descriptor, bytes, size);
  const int error = errno;
  if (name != NULL && done > 0) Record('W', name, at, bytes, (size_t)done);
  pthread_mutex_unlock(&order);
  errno = error;
  return done;
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  return Write(descriptor, bytes, size, -1);
}
ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset) {
  return Write(descriptor, bytes, size, offset);
}
ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off64_t offset) {
  return Write(descriptor, bytes, size, offset);
}

// After a call that changes names or sizes: records it if it succeeded.
static int Done(int result, char kind, const char* name, long long offset, const char* to) {
  const int error = errno;
  if (result == 0 && name != NULL) Record(kind, name, offset, to, to == NULL ? 0 : strlen(to));
  pthread_mutex_unlock(&order);
  errno = error;
  return result;
}

int ftruncate(int descriptor, off_t size) {
  char path[PATH_MAX];
  const char* name = NameOfDescriptor(descriptor, path);
  pthread_mutex_lock(&order);
  return Done(REAL(ftruncate)(descriptor, size), 'T', name, size, NULL);
}
int ftruncate64(int descriptor, off64_t size) {
  return ftruncate(descriptor, size);
}

int unlink(const char* path) {
  pthread_mutex_lock(&order);
  return Done(REAL(unlink)(path), 'U', NameOf(path), 0, NULL);
}

int rename(const char* from, const char* to) {
  pthread_mutex_lock(&order);
  return Done(REAL(rename)(from, to), 'R', NameOf(from), 0, NameOf(to));
}

static int Sync(int descriptor, int (*real)(int)) {
  char path[PATH_MAX];
  const char* name = NameOfDescriptor(descriptor, path);
  const char* delay = getenv("VISTEL_DISK_DELAY");
  if (name != NULL && delay != NULL) usleep((useconds_t)atoi(delay) * 1000);
  pthread_mutex_lock(&order);
  return Done(real(descriptor), 'S', name, 0, NULL);
}

int fsync(int descriptor) {
  return Sync(descriptor, REAL(fsync));
}
int fdatasync(int descriptor) {
  return Sync(descriptor, REAL(fdatasync));
}

static int Open(const char* path, int flags, mode_t mode) {
  const char* name = NameOf(path);
  pthread_mutex_lock(&order);
  const int isNew = (flags & O_CREAT) != 0 && access(path, F_OK) != 0;
  const int file = REAL(open)(path, flags, mode);
  const int error = errno;
  if (file >= 0 && name != NULL && isNew) Record('C', name, 0, NULL, 0);
  pthread_mutex_unlock(&order);
  errno = error;
  return file;
}

static mode_t ModeIn(int flags, va_list list) {
  return (flags & O_CREAT) != 0 ? va_arg(list, mode_t) : 0;
}

int open(const char* path, int flags, ...) {
  va_list list;
  va_start(list, flags);
  const mode_t mode = ModeIn(flags, list);
  va_end(list);
  return Open(path, flags, mode);
}
int open64(const char* path, int flags, ...) {
  va_list list;
  va_start(list, flags);
  const mode_t mode = ModeIn(flags, list);
  va_end(list);
  return Open(path, flags, mode);
}
