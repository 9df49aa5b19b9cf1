#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include "platform/posix/ProcessRestriction.h"

namespace brindlewick::posix {
namespace {

// A filter sees numbers, and what they mean is another thing on each architecture: none that was not tested gets one.
#if defined(__x86_64__) && defined(__LP64__)
constexpr unsigned knownArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned knownArchitecture = AUDIT_ARCH_AARCH64;
#else
constexpr unsigned knownArchitecture = 0;
#endif

/// From here on x86-64 has the numbers of its x32 interface, by which the same calls can be made; no other architecture
/// has a number so high.
constexpr unsigned firstOfX32 = 0x4000'0000;

/// What makes an end of a connection, takes one from elsewhere, or speaks through one; and rings, which do all of that
/// without a further call.
constexpr std::array forbidden{SYS_socket,   SYS_socketpair, SYS_connect,  SYS_bind,        SYS_listen,
                               SYS_accept,   SYS_accept4,    SYS_sendto,   SYS_sendmsg,     SYS_sendmmsg,
                               SYS_recvfrom, SYS_recvmsg,    SYS_recvmmsg, SYS_pidfd_getfd, SYS_io_uring_setup};

/// A program for the kernel's classic packet filter (seccomp(2)): rules one after the other, whose jumps count those to
/// pass over.
class Filter {
 public:
  constexpr Filter() {
    load(offsetof(seccomp_data, arch));
    add(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, knownArchitecture, 1, 0));
    refuse();
    load(offsetof(seccomp_data, nr));
    refuseIf(BPF_JGE, firstOfX32);
    for (const auto number : forbidden) refuseIf(BPF_JEQ, static_cast<unsigned>(number));
    add(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  }

  /// From now on for all threads of this process, and whatever it starts.
  void install() noexcept {
    const sock_fprog program{.len = static_cast<unsigned short>(count_), .filter = rules_.data()};
    // Without this promise only a privileged process may filter its calls.
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &program);
  }

 private:
  constexpr void add(sock_filter rule) { rules_[count_++] = rule; }
  constexpr void load(std::size_t offset) { add(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset))); }
  constexpr void refuse() { add(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM)); }
  constexpr void refuseIf(unsigned short comparison, unsigned number) {
    add(BPF_JUMP(static_cast<unsigned short>(BPF_JMP | comparison | BPF_K), number, 0, 1));
    refuse();
  }

  std::array<sock_filter, 7 + 2 * forbidden.size()> rules_{};
  std::size_t count_ = 0;
};

}  // namespace

// Beside dumps this also shuts out debuggers and readers of /proc/PID/mem of the same user. A limit of the size would
// not do: what is piped to a collector has none.
void forbidDumps() noexcept { ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0); }

void forbidNetwork() noexcept {
  if (knownArchitecture != 0) Filter().install();
}

}  // namespace brindlewick::posix
