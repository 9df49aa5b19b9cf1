#include "platform/posix/PosixProcessLauncher.h"

#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "platform/posix/ChildProcess.h"
#include "platform/posix/Interruption.h"
#include "platform/posix/ProcessRestriction.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick {
namespace {

/// Ignores four signals and puts their old handling back.
class IgnoredSignals final : public SignalShield {
 public:
  IgnoredSignals() {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &ignore, &before_[i]);
  }
  ~IgnoredSignals() override {
    for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &before_[i], nullptr);
  }
  IgnoredSignals(const IgnoredSignals&) = delete;
  IgnoredSignals& operator=(const IgnoredSignals&) = delete;

 private:
  static constexpr std::array<int, 4> signals{SIGHUP, SIGINT, SIGTERM, SIGPIPE};
  std::array<struct sigaction, 4> before_{};
};

/// Waits until there is output, or its end. The pauses are for a signal that arrives just before the waiting begins.
void awaitOutput(int reader, const Path& executable) {
  constexpr int pauseMilliseconds = 100;
  pollfd waited{.fd = reader, .events = POLLIN, .revents = 0};
  for (;;) {
    throwIfInterrupted();
    const int count = ::poll(&waited, 1, pauseMilliseconds);
    if (count > 0) return;
    if (count < 0 && errno != EINTR) posix::throwErrno("wait for the output of", executable.string());
  }
}

}  // namespace

PosixProcessLauncher::PosixProcessLauncher() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  ::sigaction(SIGCHLD, &action, nullptr);
}

ToolRun PosixProcessLauncher::run(const Path& executable, const std::vector<std::string>& arguments,
                                  std::size_t outputByteLimit) {
  auto pipe = posix::makePipe();
  posix::ChildProcess child(executable, arguments, pipe.writer.get(), posix::ChildSession::ours);
  pipe.writer.reset();

  ToolRun result;
  std::array<std::uint8_t, 65'536> buffer;
  // At once, since growing would hold the old and the new block together. What is not filled costs no memory.
  result.output.reserve(outputByteLimit + buffer.size());
  for (;;) {
    awaitOutput(pipe.reader.get(), executable);
    const auto count = posix::uninterrupted([&] { return ::read(pipe.reader.get(), buffer.data(), buffer.size()); });
    if (count < 0) posix::throwErrno("read the output of", executable.string());
    if (count == 0) break;
    result.output.insert(result.output.end(), buffer.begin(), buffer.begin() + count);
    if (result.output.size() > outputByteLimit) {
      result.exceededByteLimit = true;
      child.kill();
      break;
    }
  }
  result.succeeded = child.waitForSuccess() && !result.exceededByteLimit;
  throwIfInterrupted();
  return result;
}

void PosixProcessLauncher::startDetached(const Path& executable, const std::vector<std::string>& arguments) {
  posix::ChildProcess child(executable, arguments, -1, posix::ChildSession::itsOwn);
  child.letGo();
}

bool PosixProcessLauncher::hasEnded(std::int32_t processIdentifier) {
  throwIfInterrupted();
  errno = 0;
  return ::kill(processIdentifier, 0) != 0 && errno == ESRCH;
}

std::uint32_t PosixProcessLauncher::effectiveUser() { return ::geteuid(); }

void PosixProcessLauncher::guardSecrets() noexcept {
  constexpr rlimit none{.rlim_cur = 0, .rlim_max = 0};
  ::setrlimit(RLIMIT_CORE, &none);
  posix::forbidDumps();
  posix::forbidNetwork();
}

void PosixProcessLauncher::startOwnSession() {
  if (::setsid() != -1 || ::getsid(0) == ::getpid()) return;
  // Whoever leads a group of processes, as under a shell, cannot leave the session. What its end does is to send HUP.
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  ::sigaction(SIGHUP, &ignore, nullptr);
}

std::unique_ptr<SignalShield> PosixProcessLauncher::shieldFromSignals() {
  auto shield = std::make_unique<IgnoredSignals>();
  throwIfInterrupted();
  return shield;
}

}  // namespace brindlewick
