#include "platform/posix/PosixProcessLauncher.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "platform/posix/ChildProcess.h"
#include "platform/posix/ChildSurroundings.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Interruption.h"
#include "support/Fails.h"
#include "support/SystemCallFilter.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using ::testing::HasSubstr;

constexpr std::size_t limit = 1'048'576;
const Path shell("/bin/sh");

ToolRun runShell(const std::string& script, std::size_t byteLimit = limit) {
  return PosixProcessLauncher().run(shell, {"-c", script}, byteLimit);
}

std::string outputOf(const std::string& script) { return std::string(asText(runShell(script).output)); }

bool hasNoChildren() { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

/// Runs a function in a process of its own, for what would change this one; its answer is the exit status.
int inOwnProcess(const std::function<bool()>& function) {
  const auto process = ::fork();
  if (process == 0) ::_exit(function() ? 0 : 1);
  int status = 0;
  ::waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(PosixProcessLauncherRun, returnsTheWholeOutputOfAToolThatSucceeds) {
  const auto run = PosixProcessLauncher().run(Path("/bin/echo"), {"hello"}, limit);
  EXPECT_TRUE(run.succeeded);
  EXPECT_FALSE(run.exceededByteLimit);
  EXPECT_EQ(asText(run.output), "hello\n");
}

TEST(PosixProcessLauncherRun, passesEachArgumentUnchanged) {
  const std::vector<std::string> hard{"",           "a b", "$HOME", "`id`", "'quotes\"",
                                      "line\nfeed", "*",   "\\",    "-x",   "\xc3\xa9"};
  std::vector<std::string> arguments{"%s|"};
  arguments.insert(arguments.end(), hard.begin(), hard.end());
  const auto run = PosixProcessLauncher().run(Path("/usr/bin/printf"), arguments, limit);
  std::string expected;
  for (const auto& argument : hard) expected += argument + "|";
  EXPECT_EQ(asText(run.output), expected);
}

TEST(PosixProcessLauncherRun, saysThatAToolFailed) {
  for (const char* script : {"exit 1", "exit 255", "kill -KILL $$", "kill -TERM $$", "kill -PIPE $$"}) {
    const auto run = runShell(script);
    EXPECT_FALSE(run.succeeded) << script;
    EXPECT_FALSE(run.exceededByteLimit) << script;
  }
}

TEST(PosixProcessLauncherRun, keepsTheOutputOfAToolThatFails) {
  const auto run = runShell("echo half; exit 3");
  EXPECT_FALSE(run.succeeded);
  EXPECT_EQ(asText(run.output), "half\n");
}

TEST(PosixProcessLauncherRun, throwsWhenTheToolCannotBeStarted) {
  const testing::TemporaryFolder folder;
  testing::writeFile(folder / "data", "no program", 0644);
  PosixProcessLauncher launcher;
  EXPECT_THAT([&] { static_cast<void>(launcher.run(folder / "missing", {}, limit)); },
              testing::failsWith(std::errc::no_such_file_or_directory));
  EXPECT_THAT([&] { static_cast<void>(launcher.run(folder / "data", {}, limit)); },
              testing::failsWith(std::errc::permission_denied));
  EXPECT_THAT([&] { launcher.startDetached(folder / "missing", {}); },
              testing::failsWith(std::errc::no_such_file_or_directory));
  EXPECT_TRUE(hasNoChildren());
}

TEST(PosixProcessLauncherRun, acceptsOutputOfExactlyTheLimit) {
  const auto run = runShell("head -c 100000 /dev/zero", 100'000);
  EXPECT_TRUE(run.succeeded);
  EXPECT_FALSE(run.exceededByteLimit);
  EXPECT_EQ(run.output.size(), 100'000U);
}

TEST(PosixProcessLauncherRun, reportsOneByteBeyondTheLimit) {
  const auto run = runShell("head -c 100001 /dev/zero", 100'000);
  EXPECT_FALSE(run.succeeded);
  EXPECT_TRUE(run.exceededByteLimit);
}

TEST(PosixProcessLauncherRun, endsAToolThatNeverStopsPrinting) {
  const auto run = PosixProcessLauncher().run(Path("/usr/bin/yes"), {}, 100'000);
  EXPECT_FALSE(run.succeeded);
  EXPECT_TRUE(run.exceededByteLimit);
  EXPECT_LE(run.output.size(), 100'000U + 65'536U);
  EXPECT_TRUE(hasNoChildren());
}

TEST(PosixProcessLauncherRun, holdsNoMoreThanTheLimitAndOneBuffer) {
  for (const char* script : {"head -c 999999 /dev/zero", "exec yes"})
    EXPECT_EQ(runShell(script, 1'000'000).output.capacity(), 1'000'000U + 65'536U) << script;
}

TEST(PosixProcessLauncherRun, reapsEveryChild) {
  static_cast<void>(runShell("true"));
  static_cast<void>(runShell("kill -KILL $$"));
  EXPECT_TRUE(hasNoChildren());
}

TEST(PosixProcessLauncherRun, givesTheToolNoInputAndNoErrorOutput) {
  EXPECT_EQ(outputOf("readlink /proc/self/fd/0; readlink /proc/self/fd/2"), "/dev/null\n/dev/null\n");
  EXPECT_EQ(outputOf("cat; echo lost >&2; echo end"), "end\n");
}

TEST(PosixProcessLauncherRun, leaksNoDescriptorNotEvenAnInheritedOne) {
  const Descriptor closing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  const Descriptor inherited(::open("/dev/null", O_RDONLY));
  const Descriptor high(::fcntl(inherited.get(), F_DUPFD, 700));
  // The listing itself holds the fourth.
  EXPECT_EQ(PosixProcessLauncher().run(Path("/bin/ls"), {"/proc/self/fd"}, limit).output,
            Bytes({'0', '\n', '1', '\n', '2', '\n', '3', '\n'}));
  EXPECT_EQ(::fcntl(inherited.get(), F_GETFD), 0);  // ours are not touched
}

TEST(PosixProcessLauncherRun, givesTheToolAFixedEnvironment) {
  ::setenv("ZIPINFOOPT", "-h", 1);
  const auto run = PosixProcessLauncher().run(Path("/usr/bin/env"), {}, limit);
  ::unsetenv("ZIPINFOOPT");
  EXPECT_EQ(asText(run.output), "PATH=/usr/bin:/bin:/usr/sbin:/sbin\n" + std::string(posix::localeSetting()) + "\n");
}

TEST(PosixProcessLauncherRun, givesTheToolUmask022AndKeepsOurs) {
  const auto before = ::umask(077);
  const auto text = outputOf("umask");
  EXPECT_EQ(::umask(before), 077U);
  EXPECT_EQ(text, "0022\n");
}

TEST(PosixProcessLauncherRun, givesTheToolDefaultSignalsAndAnEmptyMask) {
  PosixProcessLauncher launcher;
  const auto shield = launcher.shieldFromSignals();
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  ::sigprocmask(SIG_BLOCK, &all, &before);
  const auto text = outputOf("grep -E '^Sig(Blk|Ign)' /proc/self/status");
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(text, "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST(PosixProcessLauncherRun, learnsHowAToolEndedEvenIfOurStarterIgnoredEndedChildren) {
  const auto before = ::signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(runShell("true").succeeded);
  ::signal(SIGCHLD, before);
}

TEST(PosixProcessLauncherRun, survivesSignalsWhileItReads) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) {};  // without SA_RESTART: reading is interrupted
  ::sigaction(SIGUSR1, &action, &before);
  const auto run = runShell("for i in 1 2 3 4 5; do kill -USR1 $PPID; echo $i; done");
  ::sigaction(SIGUSR1, &before, nullptr);
  EXPECT_TRUE(run.succeeded);
  EXPECT_EQ(asText(run.output), "1\n2\n3\n4\n5\n");
}

bool isInterrupted(const std::function<void()>& call) {
  try {
    call();
    return false;
  } catch (const PlatformError& error) {
    return error.isInterruption();
  }
}

TEST(PosixProcessLauncherRun, endsTheToolWhenThisProcessIsToldToEnd) {
  for (const char* signal : {"HUP", "INT", "TERM"})
    EXPECT_EQ(inOwnProcess([&] {
                catchInterruptions();
                ::alarm(30);  // ends this process if the tool is waited for
                const auto script = "kill -" + std::string(signal) + " $PPID; exec sleep 600";
                return isInterrupted([&] { static_cast<void>(runShell(script)); }) && hasNoChildren();
              }),
              0)
        << signal;
}

TEST(PosixProcessLauncherRun, takesNoAnswerFromAToolThatWasEndedTogetherWithThisProcess) {
  EXPECT_EQ(inOwnProcess([] {
              catchInterruptions();
              const auto run = [] { static_cast<void>(runShell("kill -INT $PPID; kill -INT $$")); };
              return isInterrupted(run) && hasNoChildren();
            }),
            0);
}

TEST(PosixProcessLauncher, beginsNoWaitingAndNothingUnbreakableOnceToldToEnd) {
  EXPECT_EQ(inOwnProcess([] {
              catchInterruptions();
              PosixProcessLauncher launcher;
              static_cast<void>(launcher.shieldFromSignals());
              ::raise(SIGTERM);
              return isInterrupted([&] { static_cast<void>(launcher.hasEnded(::getpid())); }) &&
                     isInterrupted([&] { static_cast<void>(launcher.shieldFromSignals()); });
            }),
            0);
}

TEST(ChildProcess, signalsNobodyOnceTheChildIsGone) {
  EXPECT_EQ(inOwnProcess([] {
              posix::ChildProcess child(Path("/bin/true"), {}, -1, posix::ChildSession::ours);
              const bool succeeded = child.waitForSuccess();
              testing::forbidSystemCall(SYS_kill);
              child.kill();
              return succeeded;
            }),
            0);
}

TEST(PosixProcessLauncherStartDetached, doesNotWaitAndGivesASessionOfItsOwn) {
  const testing::TemporaryFolder folder;
  const auto pipe = folder / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  PosixProcessLauncher().startDetached(
      shell, {"-c", "out=$(readlink /proc/$$/fd/1); { ps -o sid= -p $$ | tr -d ' '; echo $$; echo $out; } > " +
                        pipe.string()});
  // The program is still waiting for a reader, so the call cannot have waited for the program.
  const auto text = testing::readFile(pipe);
  int status = 0;
  ASSERT_GT(::waitpid(-1, &status, 0), 0);
  const auto session = text.substr(0, text.find('\n'));
  EXPECT_EQ(text, session + "\n" + session + "\n/dev/null\n");
  EXPECT_NE(session, std::to_string(::getsid(0)));
}

TEST(PosixProcessLauncherHasEnded, knowsRunningAndEndedProcesses) {
  PosixProcessLauncher launcher;
  EXPECT_FALSE(launcher.hasEnded(::getpid()));
  const auto child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(launcher.hasEnded(child));
}

TEST(PosixProcessLauncherHasEnded, takesAProcessOfAnotherUserForRunning) {
  if (::geteuid() != 0) {  // then process 1 is somebody else's
    EXPECT_FALSE(PosixProcessLauncher().hasEnded(1));
    return;
  }
  EXPECT_EQ(inOwnProcess([] { return ::setuid(65534) == 0 && !PosixProcessLauncher().hasEnded(1); }), 0);
}

TEST(PosixProcessLauncherStartOwnSession, leavesTheStartersSessionOnce) {
  EXPECT_EQ(inOwnProcess([] {
              PosixProcessLauncher launcher;
              launcher.startOwnSession();
              const bool leads = ::getsid(0) == ::getpid();
              launcher.startOwnSession();  // no effect
              return leads && ::getsid(0) == ::getpid();
            }),
            0);
}

TEST(PosixProcessLauncherStartOwnSession, outlivesTheStartersSessionEvenWhereItCannotLeaveIt) {
  EXPECT_EQ(inOwnProcess([] {
              catchInterruptions();
              ::setpgid(0, 0);  // as a shell does it for a command
              PosixProcessLauncher launcher;
              launcher.startOwnSession();
              ::raise(SIGHUP);
              const bool survivesHangUp = ::getsid(0) != ::getpid() && !interrupted();
              ::raise(SIGTERM);
              return survivesHangUp && interrupted();
            }),
            0);
}

TEST(PosixProcessLauncherStartOwnSession, leavesHangUpsOfItsOwnSessionAlone) {
  EXPECT_EQ(inOwnProcess([] {
              catchInterruptions();
              PosixProcessLauncher().startOwnSession();
              ::raise(SIGHUP);
              return interrupted();
            }),
            0);
}

TEST(PosixProcessLauncherShield, ignoresFourSignalsAndPutsTheirHandlingBack) {
  EXPECT_EQ(inOwnProcess([] {
              PosixProcessLauncher launcher;
              ::signal(SIGTERM, [](int) { ::_exit(9); });
              {
                const auto shield = launcher.shieldFromSignals();
                for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGPIPE}) ::raise(signal);
              }
              ::raise(SIGTERM);
              return false;
            }),
            9);
}

TEST(PosixProcessLauncher, namesTheEffectiveUser) { EXPECT_EQ(PosixProcessLauncher().effectiveUser(), ::geteuid()); }

}  // namespace
}  // namespace brindlewick
