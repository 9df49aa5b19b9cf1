#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "platform/posix/Interruption.h"
#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

/// Runs a function in a process of its own; how that process ended, as waitpid tells it.
int inOwnProcess(const std::function<bool()>& function) {
  const auto process = ::fork();
  if (process == 0) ::_exit(function() && !::testing::Test::HasFailure() ? 0 : 1);
  int status = -1;
  ::waitpid(process, &status, 0);
  return status;
}

TEST(CatchInterruptions, marksEachOfTheThree) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    EXPECT_EQ(inOwnProcess([signal] {
                catchInterruptions();
                const bool before = interrupted();
                ::raise(signal);
                return !before && interrupted();
              }),
              0)
        << signal;
}

TEST(CatchInterruptions, leavesAHangUpAloneThatTheStarterIgnores) {
  EXPECT_EQ(inOwnProcess([] {
              ::signal(SIGHUP, SIG_IGN);  // as nohup does
              catchInterruptions();
              ::raise(SIGHUP);
              const bool survives = !interrupted();
              ::raise(SIGTERM);
              return survives && interrupted();
            }),
            0);
}

TEST(CatchInterruptions, hearsWhatAShellIgnoresInTheBackground) {
  EXPECT_EQ(inOwnProcess([] {
              ::signal(SIGINT, SIG_IGN);
              ::signal(SIGTERM, SIG_IGN);
              catchInterruptions();
              ::raise(SIGINT);
              return interrupted();
            }),
            0);
}

/// Runs an action in a process that may write no more than 4,096 bytes into a file.
int withSmallFiles(const std::function<void()>& action) {
  return inOwnProcess([&action] {
    const rlimit limit{.rlim_cur = 4096, .rlim_max = 4096};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    catchInterruptions();
    action();
    return true;
  });
}

TEST(CatchInterruptions, letsAWriteBeyondTheFileSizeLimitFail) {
  const testing::TemporaryFolder folder;
  PosixFileSystem files;
  testing::writeFile(folder / "tree" / "large", std::string(100'000, 'x'));
  EXPECT_EQ(withSmallFiles([&] {
              const Bytes content(100'000);
              EXPECT_THAT([&] { files.writeAtomically(folder / "file", content, 0600); },
                          testing::failsWith(std::errc::file_too_large));
              EXPECT_THAT([&] { files.copyTree(folder / "tree", folder / "copy"); },
                          testing::failsWith(std::errc::file_too_large));
              files.removeTree(folder / "copy");
            }),
            0);
  EXPECT_THAT(files.list(folder.path()), ::testing::ElementsAre("tree"));
}

}  // namespace
}  // namespace brindlewick
