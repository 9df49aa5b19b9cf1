#include "support/SystemCallFilter.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

#include <array>
#include <cstddef>
#include <stdexcept>

namespace brindlewick::testing {
namespace {

void answer(long number, unsigned action) {
  std::array<sock_filter, 4> rules{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(number), 0, 1),
      BPF_STMT(BPF_RET | BPF_K, action),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog program{.len = rules.size(), .filter = rules.data()};
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
    throw std::runtime_error("no filter for system calls");
}

}  // namespace

void failSystemCall(long number, int code) {
  answer(number, SECCOMP_RET_ERRNO | (static_cast<unsigned>(code) & SECCOMP_RET_DATA));
}

void forbidSystemCall(long number) { answer(number, SECCOMP_RET_KILL_PROCESS); }

}  // namespace brindlewick::testing
