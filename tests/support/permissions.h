// Makes file permissions apply to everyone who runs the tests.
#pragma once

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

namespace jobshaper::testing {

// Permissions do not stop root. After this call they stop the calling thread, and every program
// that it starts.
inline void obeyPermissions() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  if (syscall(SYS_capget, &header, sets) != 0) abort();
  constexpr unsigned both = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;
  sets[0].effective &= ~both;
  sets[0].permitted &= ~both;
  sets[0].inheritable &= ~both;
  // Otherwise root would get both back when it starts a program.
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || syscall(SYS_capset, &header, sets) != 0) {
    abort();
  }
}

}  // namespace jobshaper::testing
