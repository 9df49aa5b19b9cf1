#include "install/InstallationTurn.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <thread>

#include "install/UpdateInstallError.h"
#include "support/Fails.h"
#include "support/InstallWorld.h"

namespace brindlewick {
namespace {

using std::chrono::seconds;
using testing::errorOf;
using testing::InstallWorld;

TEST(InstallationTurn, waitsUntilTheOtherHelperIsDone) {
  InstallWorld world;
  world.prepared();
  auto other = world.disk.tryLock(world.installed.parent());
  ASSERT_NE(other, nullptr);
  std::string whileWaiting;
  world.clock.whileAsleep = [&] {
    whileWaiting = world.installedVersion();
    if (world.clock.sleeps.size() == 7) other.reset();
  };
  world.apply();
  EXPECT_EQ(world.clock.sleeps.size(), 7U);
  EXPECT_EQ(whileWaiting, "2.3.0");
  EXPECT_EQ(world.installedVersion(), "2.4.0");
}

TEST(InstallationTurn, keepsTheLockUntilThePreparationDirectoryIsGone) {
  InstallWorld world;
  world.prepared();
  bool isLocked = false;
  world.files.runAfter("removeTree", 3, [&] { isLocked = world.disk.tryLock(world.installed.parent()) == nullptr; });
  world.apply();
  EXPECT_TRUE(isLocked);
  EXPECT_NE(world.disk.tryLock(world.installed.parent()), nullptr);
}

TEST(InstallationTurn, verifiesEverythingAgainAfterTheWait) {
  InstallWorld world;
  world.prepared();
  auto other = world.disk.tryLock(world.installed.parent());
  world.clock.whileAsleep = [&] {
    testing::writeFile(world.staged / "BrindlewickUpdate.zip", "another");
    other.reset();
  };
  EXPECT_EQ(errorOf([&] { world.apply(); }), "The downloaded update failed its signed hash check.");
  EXPECT_EQ(world.installedVersion(), "2.3.0");
}

TEST(InstallationTurn, hasNothingLeftToDoWhereTheOtherHelperInstalledTheSameUpdate) {
  InstallWorld world;
  world.prepared();
  auto other = world.disk.tryLock(world.installed.parent());
  world.clock.whileAsleep = [&] {
    world.disk.removeTree(world.installed);
    world.disk.move(world.preparation / "Brindlewick.app", world.installed);
    world.disk.removeTree(world.preparation);
    other.reset();
  };
  world.apply();
  EXPECT_EQ(world.installedVersion(), "2.4.0");
  EXPECT_EQ(world.leftovers(), "");
  EXPECT_TRUE(world.log.events({"copyTree", "move", "shield"}).empty());
}

TEST(InstallationTurn, hasNothingLeftToDoWhereTheOtherHelperWasDoneBeforeItLooked) {
  InstallWorld world;
  world.prepared();
  world.processes.ended = [&](std::int32_t) {
    world.disk.removeTree(world.installed);
    world.disk.move(world.preparation / "Brindlewick.app", world.installed);
    world.disk.removeTree(world.preparation);
    return true;
  };
  world.apply();
  EXPECT_EQ(world.installedVersion(), "2.4.0");
  EXPECT_TRUE(world.log.events({"copyTree", "move", "shield"}).empty());
}

TEST(InstallationTurn, installsWhereTheOtherHelperInstalledSomethingElse) {
  for (const char* seal : {"valid developerID team OTHERTEAM9", "broken"}) {
    InstallWorld world;
    world.prepared();
    auto other = world.disk.tryLock(world.installed.parent());
    world.clock.whileAsleep = [&] {
      testing::TestBundle another("2.4.0", 118);
      another.seal = seal;
      another.write(world.installed);
      other.reset();
    };
    world.apply();
    EXPECT_EQ(testing::readFile(world.installed / "Contents/_CodeSignature/CodeResources"), world.update.seal) << seal;
  }
}

TEST(InstallationTurn, waitsNoLongerThanThirtySecondsTogetherWithTheWaitForTheParent) {
  for (const int forParent : {0, 12, 29}) {
    InstallWorld world;
    world.prepared();
    const auto other = world.disk.tryLock(world.installed.parent());
    const auto end = world.clock.steadyNow() + seconds(forParent);
    world.processes.ended = [&](std::int32_t) { return world.clock.steadyNow() >= end; };
    world.apply();
    const auto& sleeps = world.clock.sleeps;
    EXPECT_EQ(std::accumulate(sleeps.begin(), sleeps.end(), std::chrono::microseconds(0)), seconds(30)) << forParent;
    // Whoever may read the folder could hold the lock for ever.
    EXPECT_EQ(world.installedVersion(), "2.4.0") << forParent;
  }
}

TEST(InstallationTurn, doesWithoutALockWhereThereIsNone) {
  for (const auto code : {std::errc::no_lock_available, std::errc::not_supported, std::errc::permission_denied}) {
    InstallWorld world;
    world.prepared().files.fail("tryLock", 1, code);
    world.apply();
    EXPECT_EQ(world.installedVersion(), "2.4.0");
    EXPECT_TRUE(world.clock.sleeps.empty());
  }
}

/// Really waits, but not long: for processes that take turns.
class BriefClock final : public Clock {
 public:
  [[nodiscard]] std::chrono::system_clock::time_point now() override { return std::chrono::system_clock::now(); }
  [[nodiscard]] std::chrono::steady_clock::time_point steadyNow() override { return std::chrono::steady_clock::now(); }
  void sleep(std::chrono::microseconds) override { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }
};

/// Applies a preparation in a process of its own as soon as its parent has ended; its status is 0 after a success, 1
/// after a failure that claims that the old version was restored, 2 after another one.
pid_t startApply(InstallWorld& world, const Path& preparation, int arrived, int parent) {
  const auto process = ::fork();
  if (process != 0) return process;
  BriefClock clock;
  world.processes.ended = [&](std::int32_t) {
    char byte = 0;
    return ::write(arrived, "x", 1) == 1 && ::read(parent, &byte, 1) == 1;
  };
  const auto error =
      errorOf([&] { UpdateInstaller::apply(world.tools(), clock, world.request(), preparation, world.parent); });
  ::_exit(error.empty() ? 0 : error == describe(UpdateInstallError::replacementFailed) ? 1 : 2);
}

/// Two helpers that have made their first checks when their common parent ends; their two statuses in ascending order.
std::pair<int, int> applyTwice(InstallWorld& world, const Path& one, const Path& other) {
  int arrival[2], end[2];
  EXPECT_EQ(::pipe(arrival) + ::pipe(end), 0);
  startApply(world, one, arrival[1], end[0]);
  startApply(world, other, arrival[1], end[0]);
  char bytes[2];
  for (int i = 0; i < 2; ++i) EXPECT_EQ(::read(arrival[0], bytes, 1), 1);
  EXPECT_EQ(::write(end[1], "xx", 2), 2);
  int statuses[2];
  for (int& status : statuses) ::wait(&status);
  for (const int descriptor : {arrival[0], arrival[1], end[0], end[1]}) ::close(descriptor);
  return std::minmax({WEXITSTATUS(statuses[0]), WEXITSTATUS(statuses[1])});
}

TEST(TwoHelpersAtOnce, bothInstallTheirPreparation) {
  for (int round = 0; round < 40; ++round) {
    InstallWorld world;
    const auto one = world.prepare().directoryURL;
    const auto other = world.prepare().directoryURL;
    EXPECT_EQ(applyTwice(world, one, other), std::pair(0, 0)) << round;
    EXPECT_EQ(world.installedVersion(), "2.4.0") << round;
    EXPECT_EQ(world.leftovers(), "") << round;
    EXPECT_TRUE(world.preparationDirectories().empty()) << round;
  }
}

TEST(TwoHelpersAtOnce, installOnePreparationTogetherAndNeverClaimThatTheOldVersionWasRestored) {
  for (int round = 0; round < 40; ++round) {
    InstallWorld world;
    const auto only = world.prepare().directoryURL;
    const auto [first, second] = applyTwice(world, only, only);
    // The second one succeeds too, or comes so late that it finds its preparation used up.
    EXPECT_EQ(first, 0) << round;
    EXPECT_NE(second, 1) << round;
    EXPECT_EQ(world.installedVersion(), "2.4.0") << round;
    EXPECT_EQ(world.leftovers(), "") << round;
  }
}

}  // namespace
}  // namespace brindlewick
