// SPDX-License-Identifier: MIT
#include "main/SystemCallFilter.h"

#include <seccomp.h>
#include <sys/socket.h>

namespace {

// What the program calls, and what C libraries call for it: for memory and streams, to resolve
// names, for the log, for random numbers of malloc. Calls of other machines and of older kernels
// are among them. No call starts a program or changes rights; files can be opened, because
// templates are.
constexpr int kAllowed[] = {
    SCMP_SYS(read),
    SCMP_SYS(readv),
    SCMP_SYS(pread64),
    SCMP_SYS(write),
    SCMP_SYS(writev),
    SCMP_SYS(open),
    SCMP_SYS(openat),
    SCMP_SYS(openat2),
    SCMP_SYS(close),
    SCMP_SYS(lseek),
    SCMP_SYS(_llseek),
    SCMP_SYS(dup),
    SCMP_SYS(fcntl),
    SCMP_SYS(fcntl64),
    SCMP_SYS(ioctl),
    SCMP_SYS(stat),
    SCMP_SYS(stat64),
    SCMP_SYS(lstat),
    SCMP_SYS(lstat64),
    SCMP_SYS(fstat),
    SCMP_SYS(fstat64),
    SCMP_SYS(newfstatat),
    SCMP_SYS(fstatat64),
    SCMP_SYS(statx),
    SCMP_SYS(access),
    SCMP_SYS(faccessat),
    SCMP_SYS(faccessat2),
    SCMP_SYS(readlink),
    SCMP_SYS(readlinkat),
    SCMP_SYS(getcwd),
    SCMP_SYS(unlink),
    SCMP_SYS(unlinkat),
    SCMP_SYS(fchmod),
    SCMP_SYS(brk),
    SCMP_SYS(mmap),
    SCMP_SYS(mmap2),
    SCMP_SYS(munmap),
    SCMP_SYS(mremap),
    SCMP_SYS(mprotect),
    SCMP_SYS(madvise),
    SCMP_SYS(getrandom),
    SCMP_SYS(futex),
    SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn),
    SCMP_SYS(sigreturn),
    SCMP_SYS(connect),
    SCMP_SYS(send),
    SCMP_SYS(sendto),
    SCMP_SYS(recv),
    SCMP_SYS(recvfrom),
    SCMP_SYS(poll),
    SCMP_SYS(ppoll),
    SCMP_SYS(ppoll_time64),
    SCMP_SYS(restart_syscall),
    SCMP_SYS(clock_gettime),
    SCMP_SYS(clock_gettime64),
    SCMP_SYS(gettimeofday),
    SCMP_SYS(time),
    SCMP_SYS(getpid),
    SCMP_SYS(gettid),
    SCMP_SYS(exit),
    SCMP_SYS(exit_group),
};

bool AddRules(scmp_filter_ctx filter) {
  for (const int call : kAllowed) {
    if (seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) != 0) return false;
  }
  // To the system manager and the log; never to another machine.
  const scmp_arg_cmp isLocal = {0, SCMP_CMP_EQ, AF_UNIX, 0};
  return seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, SCMP_SYS(socket), 1, &isLocal) == 0;
}

}  // namespace

bool FilterSystemCalls() {
  const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_KILL_PROCESS);
  if (filter == nullptr) return false;
  const bool filtered = AddRules(filter) && seccomp_load(filter) == 0;
  seccomp_release(filter);
  return filtered;
}
