#include <spawn.h>
#include <unistd.h>

#include "platform/posix/ChildSurroundings.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick::posix {
namespace {

void check(int code) {
  if (code != 0) throwErrno("prepare", "the start of a program", code);
}

}  // namespace

const char* localeSetting() noexcept { return "LC_ALL=en_US.UTF-8"; }

bool endTogetherWith(pid_t parent) noexcept {
  // There is no such request here. A tool that outlives a killed helper comes to its own end, and nobody reads from it.
  return ::getppid() == parent;
}

/// Spawning "in place" is an exec that also lets the kernel close every descriptor that is not named.
struct ProgramStart::Preparation {
  Preparation() {
    check(::posix_spawnattr_init(&attributes));
    check(::posix_spawn_file_actions_init(&descriptors));
    check(::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETEXEC | POSIX_SPAWN_CLOEXEC_DEFAULT));
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
      check(::posix_spawn_file_actions_addinherit_np(&descriptors, stream));
  }
  ~Preparation() {
    ::posix_spawn_file_actions_destroy(&descriptors);
    ::posix_spawnattr_destroy(&attributes);
  }
  Preparation(const Preparation&) = delete;
  Preparation& operator=(const Preparation&) = delete;

  posix_spawnattr_t attributes = nullptr;
  posix_spawn_file_actions_t descriptors = nullptr;
};

ProgramStart::ProgramStart() : preparation_(std::make_unique<const Preparation>()) {}
ProgramStart::~ProgramStart() = default;

int ProgramStart::become(const char* executable, char* const* arguments, char* const* environment) const noexcept {
  return ::posix_spawn(nullptr, executable, &preparation_->descriptors, &preparation_->attributes, arguments,
                       environment);
}

}  // namespace brindlewick::posix
