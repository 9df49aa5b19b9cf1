#include "platform/linux/TransferWatchdog.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>

#include "FloodedConnection.h"
#include "support/Fails.h"
#include "support/SystemCallFilter.h"

namespace brindlewick {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using Verdict = TransferWatchdog::Verdict;

TransferClock clockThatStartsNow(const TransferTimeouts& timeouts) {
  return {timeouts, hours(1), std::chrono::steady_clock::now()};
}

const TransferTimeouts nothingHasTimeLeft{.idle = milliseconds(0), .whole = hours(1)};
const TransferTimeouts everythingHasTime{.idle = hours(1), .whole = hours(1)};

/// The signals that a thread does not take, as the kernel writes them.
unsigned long long blockedSignals(const std::filesystem::path& thread) {
  std::ifstream status(thread / "status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("SigBlk:")) return std::stoull(line.substr(7), nullptr, 16);
  throw std::runtime_error("a thread without signals");
}

TEST(TransferWatchdog, endsWhatReadsForEver) {
  TransferSockets sockets;
  const FloodedConnection connection(sockets);
  const TransferWatchdog watchdog(sockets, clockThatStartsNow(nothingHasTimeLeft));
  connection.readToTheEnd();
  EXPECT_EQ(watchdog.verdict(), Verdict::tookTooLong);
  EXPECT_EQ(sockets.open(AF_INET, SOCK_STREAM, 0), -1);
}

TEST(TransferWatchdog, leavesATaskAloneThatHasTime) {
  TransferSockets sockets;
  const FloodedConnection connection(sockets);
  {
    const TransferWatchdog watchdog(sockets, clockThatStartsNow(everythingHasTime));
    // This one begins later, so that the first has looked as well when it ends its connection.
    TransferSockets others;
    const FloodedConnection ended(others);
    const TransferWatchdog later(others, clockThatStartsNow(nothingHasTimeLeft));
    ended.readToTheEnd();
    EXPECT_EQ(watchdog.verdict(), Verdict::mayGoOn);
  }
  EXPECT_TRUE(connection.receivesMore());
}

std::set<std::filesystem::path> threads() {
  std::set<std::filesystem::path> found;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) found.insert(thread.path());
  return found;
}

TEST(TransferWatchdog, leavesSignalsToTheThreadThatWorks) {
  TransferSockets sockets;
  const auto ours = blockedSignals("/proc/thread-self");
  const auto before = threads();
  const TransferWatchdog watchdog(sockets, clockThatStartsNow(everythingHasTime));
  EXPECT_EQ(blockedSignals("/proc/thread-self"), ours);
  int newOnes = 0;
  for (const auto& thread : threads()) {
    if (before.contains(thread)) continue;
    ++newOnes;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
      EXPECT_TRUE(blockedSignals(thread) >> (signal - 1) & 1) << signal;
  }
  EXPECT_EQ(newOnes, 1);
}

TEST(TransferWatchdog, failsWhereThereIsNoThread) {
  const auto process = ::fork();
  if (process == 0) {
    testing::failSystemCall(SYS_clone3, EAGAIN);
    TransferSockets sockets;
    EXPECT_THAT([&] { TransferWatchdog(sockets, clockThatStartsNow(everythingHasTime)); },
                testing::failsWith(std::errc::resource_unavailable_try_again));
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ::waitpid(process, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace brindlewick
