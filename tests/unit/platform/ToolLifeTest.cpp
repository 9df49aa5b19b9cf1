#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <functional>

#include "platform/posix/ChildProcess.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "support/SystemCallFilter.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

const Path shell("/bin/sh");
constexpr int patienceMilliseconds = 30'000;

/// A named pipe from a tool to the test. It ends when nobody has it open for writing any more.
class Report {
 public:
  Report() {
    EXPECT_EQ(::mkfifo(path().c_str(), 0600), 0);
    reader_ = Descriptor(::open(path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  }

  [[nodiscard]] Path path() const { return folder_ / "report"; }

  /// The next byte, '\0' for the end, '?' when neither comes in time.
  [[nodiscard]] char next() {
    pollfd waited{.fd = reader_.get(), .events = POLLIN, .revents = 0};
    if (::poll(&waited, 1, patienceMilliseconds) <= 0) return '?';
    char byte = '\0';
    return ::read(reader_.get(), &byte, 1) < 0 ? '?' : byte;
  }

 private:
  testing::TemporaryFolder folder_;
  Descriptor reader_;
};

/// A helper of its own that the test ends, as the system or a user might.
class Helper {
 public:
  explicit Helper(const std::function<void()>& work) : process_(::fork()) {
    if (process_ != 0) return;
    work();
    for (;;) ::pause();
  }
  ~Helper() { killIt(); }
  Helper(const Helper&) = delete;
  Helper& operator=(const Helper&) = delete;

  void killIt() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
  }

 private:
  pid_t process_;
};

TEST(ToolLife, endsWithAHelperThatIsKilledWhileItWaits) {
  Report report;
  Helper helper([&] {
    const auto script = "exec >'" + report.path().string() + "'; printf r; exec sleep 60";
    static_cast<void>(PosixProcessLauncher().run(shell, {"-c", script}, 1000));
  });
  EXPECT_EQ(report.next(), 'r');
  helper.killIt();
  EXPECT_EQ(report.next(), '\0');
}

TEST(ToolLife, ofADetachedProgramIsItsOwn) {
  Report report;
  testing::TemporaryFolder folder;
  const auto go = folder / "go";
  ASSERT_EQ(::mkfifo(go.c_str(), 0600), 0);
  Helper helper([&] {
    const auto script =
        "exec >'" + report.path().string() + "'; printf r; read word <'" + go.string() + "'; printf $word";
    PosixProcessLauncher().startDetached(shell, {"-c", script});
  });
  EXPECT_EQ(report.next(), 'r');
  helper.killIt();
  testing::writeFile(go, "a\n");
  EXPECT_EQ(report.next(), 'a') << "the program that is to outlive the helper went with it";
}

/// Runs a program in a process in which nobody is the parent of a child: what it would find had the parent ended
/// between the fork and the request to end with it.
bool runsWithoutItsParent(posix::ChildSession session) {
  const auto process = ::fork();
  if (process == 0) {
    testing::failSystemCall(SYS_getppid, EIO);
    posix::ChildProcess child(Path("/bin/true"), {}, -1, session);
    ::_exit(child.waitForSuccess() ? 0 : 1);
  }
  int status = -1;
  ::waitpid(process, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(ToolLife, doesNotBeginOnceTheHelperIsGone) {
  EXPECT_FALSE(runsWithoutItsParent(posix::ChildSession::ours));
  EXPECT_TRUE(runsWithoutItsParent(posix::ChildSession::itsOwn));
}

}  // namespace
}  // namespace brindlewick
