#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "platform/posix/ChildSurroundings.h"

namespace brindlewick::posix {
namespace {

/// CLOSE_RANGE_CLOEXEC; headers older than the call lack it.
constexpr unsigned closeOnExec = 1U << 2;
constexpr int highestTried = 4096;

void closeOnExecFrom(int first) noexcept {
#ifdef SYS_close_range
  if (::syscall(SYS_close_range, static_cast<unsigned>(first), ~0U, closeOnExec) == 0) return;
#endif
  // An older kernel.
  for (int descriptor = first; descriptor < highestTried; ++descriptor) ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

}  // namespace

const char* localeSetting() noexcept { return "LC_ALL=C.UTF-8"; }

bool endTogetherWith(pid_t parent) noexcept {
  // Whom the kernel watches is the thread that forked. That is the one that waits for the child, so it outlives it or
  // ends with the process. The request stays in force across exec, unless that program gains rights.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // A parent that ended before the request will not end again: the child would have been given to another by now.
  return ::getppid() == parent;
}

struct ProgramStart::Preparation {};  // this system needs none

ProgramStart::ProgramStart() = default;
ProgramStart::~ProgramStart() = default;

int ProgramStart::become(const char* executable, char* const* arguments, char* const* environment) const noexcept {
  closeOnExecFrom(STDERR_FILENO + 1);
  ::execve(executable, arguments, environment);
  return errno;
}

}  // namespace brindlewick::posix
