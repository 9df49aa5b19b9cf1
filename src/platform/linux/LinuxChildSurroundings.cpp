#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

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

struct ProgramStart::Preparation {};  // this system needs none

ProgramStart::ProgramStart() = default;
ProgramStart::~ProgramStart() = default;

int ProgramStart::become(const char* executable, char* const* arguments, char* const* environment) const noexcept {
  closeOnExecFrom(STDERR_FILENO + 1);
  ::execve(executable, arguments, environment);
  return errno;
}

}  // namespace brindlewick::posix
