#include "platform/posix/PosixProcessLauncher.h"

#include <unistd.h>

#include <array>
#include <csignal>

#include "platform/posix/ChildProcess.h"
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
  for (;;) {
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
  return result;
}

void PosixProcessLauncher::startDetached(const Path& executable, const std::vector<std::string>& arguments) {
  posix::ChildProcess child(executable, arguments, -1, posix::ChildSession::itsOwn);
  child.letGo();
}

bool PosixProcessLauncher::hasEnded(std::int32_t processIdentifier) {
  errno = 0;
  return ::kill(processIdentifier, 0) != 0 && errno == ESRCH;
}

std::uint32_t PosixProcessLauncher::effectiveUser() { return ::geteuid(); }

void PosixProcessLauncher::startOwnSession() {
  // Fails only for a process that leads a group already, and then the group is its own.
  static_cast<void>(::setsid());
}

std::unique_ptr<SignalShield> PosixProcessLauncher::shieldFromSignals() { return std::make_unique<IgnoredSignals>(); }

}  // namespace brindlewick
