#include "support/CallFaults.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace brindlewick::testing {
namespace {

constexpr int statusOfDeath = 99;
/// Added to the status of a run that made fewer calls than the one that was chosen.
constexpr int statusWithoutFault = 10;

// A signal handler can be given nothing else.
int counted = 0;
int chosen = 0;
CallFault chosenFault = CallFault::failure;

/// All that the file system of the program asks, except reading directories' positions and closing, which cannot fail.
constexpr std::array fileCalls{
#ifdef __x86_64__
    SYS_open,      SYS_mkdir,      SYS_rename,     SYS_rmdir,     SYS_unlink,          SYS_chmod,      SYS_access,
    SYS_stat,      SYS_lstat,      SYS_readlink,
#endif
    SYS_openat,    SYS_mkdirat,    SYS_renameat,   SYS_renameat2, SYS_unlinkat,        SYS_fchmod,     SYS_fchmodat,
    SYS_faccessat, SYS_faccessat2, SYS_newfstatat, SYS_fstat,     SYS_statx,           SYS_readlinkat, SYS_symlinkat,
    SYS_utimensat, SYS_getdents64, SYS_read,       SYS_write,     SYS_copy_file_range, SYS_ioctl,      SYS_fsync,
    SYS_flock,     SYS_flistxattr, SYS_fgetxattr,  SYS_fsetxattr, SYS_sync_file_range};

#if defined(__x86_64__)
std::array<long, 6> argumentsOf(const ucontext_t& context) {
  const auto& registers = context.uc_mcontext.gregs;
  return {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
          registers[REG_R10], registers[REG_R8],  registers[REG_R9]};
}
void answer(ucontext_t& context, long result) { context.uc_mcontext.gregs[REG_RAX] = result; }
#elif defined(__aarch64__)
std::array<long, 6> argumentsOf(const ucontext_t& context) {
  std::array<long, 6> arguments{};
  for (std::size_t i = 0; i < arguments.size(); ++i) arguments[i] = static_cast<long>(context.uc_mcontext.regs[i]);
  return arguments;
}
void answer(ucontext_t& context, long result) { context.uc_mcontext.regs[0] = static_cast<unsigned long long>(result); }
#else
#error "The registers of this processor are not known here"
#endif

/// Runs in the place of each counted call.
void meetCall(int /*signal*/, siginfo_t* information, void* opaque) {
  const int kept = errno;
  auto& context = *static_cast<ucontext_t*>(opaque);
  if (++counted == chosen) {
    if (chosenFault == CallFault::death) ::_exit(statusOfDeath);
    answer(context, chosenFault == CallFault::failure ? -EIO : -EMFILE);
  } else {
    const auto a = argumentsOf(context);
    const long result = ::syscall(information->si_syscall, a[0], a[1], a[2], a[3], a[4], a[5]);
    answer(context, result == -1 ? -errno : result);
  }
  errno = kept;
}

sock_filter load(std::size_t offset) { return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset)); }

/// Hands every file call to the handler, but for those that come out of the C library's `syscall`: they are the
/// handler's own.
std::vector<sock_filter> rules() {
  const auto allowed = reinterpret_cast<std::uintptr_t>(&::syscall);
  const auto high = static_cast<unsigned>(allowed >> 32U);
  const auto low = static_cast<unsigned>(allowed);
  constexpr unsigned length = 128;
  std::vector<sock_filter> all{
      load(offsetof(seccomp_data, instruction_pointer) + 4),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, high, 0, 4),
      load(offsetof(seccomp_data, instruction_pointer)),
      BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, low, 0, 2),
      BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, low + length, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      load(offsetof(seccomp_data, nr)),
  };
  for (const long call : fileCalls) {
    all.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
    all.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
  }
  all.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  return all;
}

/// From now on the calls of this process that concern files are counted, and the nth (from 1) meets the fault.
void faultAtCall(int number, CallFault fault) {
  chosen = number;
  chosenFault = fault;
  struct sigaction action {};
  action.sa_sigaction = meetCall;
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  ::sigaction(SIGSYS, &action, nullptr);
  auto filter = rules();
  const sock_fprog program{.len = static_cast<unsigned short>(filter.size()), .filter = filter.data()};
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
    ::_exit(1 + statusOfDeath);
}

[[noreturn]] void runWithFault(int number, CallFault fault, const CallSweep& sweep) {
  int status = 0;
  try {
    sweep.action([&] { faultAtCall(number, fault); });
  } catch (const std::exception&) {
    status = 1;
  }
  ::_exit(status + (counted < number ? statusWithoutFault : 0));
}

}  // namespace

int sweepCalls(CallFault fault, const CallSweep& sweep) {
  for (int call = 1;; ++call) {
    sweep.prepare();
    const auto process = ::fork();
    if (process == 0) runWithFault(call, fault, sweep);
    int status = -1;
    ::waitpid(process, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) > statusOfDeath) throw std::runtime_error("no sweep of calls");
    const int result = WEXITSTATUS(status);
    sweep.check(call, result == statusOfDeath            ? CallOutcome::death
                      : result % statusWithoutFault == 0 ? CallOutcome::success
                                                         : CallOutcome::failure);
    if (result != statusOfDeath && result >= statusWithoutFault) return call - 1;
  }
}

}  // namespace brindlewick::testing
