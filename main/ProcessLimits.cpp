// SPDX-License-Identifier: MIT
#include "main/ProcessLimits.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "base/Response.h"
#include "main/SystemCallFilter.h"

namespace {

// Address space, in MiB; set by the build; 0 for no limit.
constexpr rlim_t kMaxMemoryMegabytes = VISTEL_MEMORY_MEGABYTES;

// A typical page takes a thousandth of a second, and a hundredth on a slow device. Waiting for the
// system manager takes none.
constexpr rlim_t kMaxProcessorSeconds = 20;

// The time for the message, after which the kernel ends the process.
constexpr rlim_t kMessageSeconds = 1;

constexpr int kLostStatus = 2;

// Lowers a limit. Few callers have set a lower one, so the old one comes with the call that sets
// the new one, and returns in another.
void Limit(decltype(RLIMIT_AS) resource, rlim_t soft, rlim_t hard) {
  const rlimit wanted = {soft, hard};
  rlimit old = {};
  if (prlimit(0, resource, &wanted, &old) != 0) {
    // Only a privileged process may exceed its hard limit, which is lower then.
    if (getrlimit(resource, &old) != 0) return;
  } else if (old.rlim_cur >= soft && old.rlim_max >= hard) {
    return;
  }
  const rlimit lower = {std::min(soft, old.rlim_cur), std::min(hard, old.rlim_max)};
  setrlimit(resource, &lower);
}

void EndForTime(int /*signal*/) {
  Response::WriteFailure("the page takes too much time");
  _exit(kLostStatus);
}

}  // namespace

void LimitProcess() {
  constexpr rlim_t kMaxMemoryBytes = kMaxMemoryMegabytes << 20;
  if (kMaxMemoryBytes != 0) Limit(RLIMIT_AS, kMaxMemoryBytes, kMaxMemoryBytes);
  std::signal(SIGXCPU, EndForTime);
  Limit(RLIMIT_CPU, kMaxProcessorSeconds, kMaxProcessorSeconds + kMessageSeconds);
  Limit(RLIMIT_CORE, 0, 0);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  if (VISTEL_SYSCALL_FILTER != 0 && !FilterSystemCalls()) {
    Response::WriteFailure("system calls can't be filtered");
    _exit(kLostStatus);
  }
}
