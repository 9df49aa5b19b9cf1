#include <gmock/gmock.h>

#include <memory>
#include <regex>

#include "support/CallFaults.h"
#include "support/InstallWorld.h"

namespace brindlewick {
namespace {

using testing::CallFault;
using testing::CallOutcome;
using testing::InstallWorld;
using testing::listing;

/// The fifth code that apply asks for is that of the new application in its place.
constexpr int codeInPlace = 5;

/// A swap that is tried at every system call that concerns files, and what it may leave.
class ApplicationSwapFaultTest : public ::testing::Test {
 protected:
  /// Counts from an operation of the swap on; `spoil` is done to each new world.
  int sweepFrom(const char* operation, CallFault fault, const std::function<void(InstallWorld&)>& spoil,
                const std::function<void(int, CallOutcome)>& check) {
    const auto prepare = [&] {
      world = std::make_unique<InstallWorld>();
      spoil(world->prepared());
      before = listing(world->installed);
      next = listing(world->preparation / "Brindlewick.app");
    };
    const auto apply = [&](const auto& begin) {
      world->files.runBefore(operation, 1, begin);
      world->apply();
    };
    return testing::sweepCalls(fault, {prepare, apply, check});
  }

  /// The old application, whole, stands in its place or in the backup beside it; or the new one stands in its place.
  void expectAWholeApplication(int call) {
    const auto installed = listing(world->installed);
    if (installed == before || installed == next) return;
    EXPECT_EQ(world->installedVersion(), "none") << call;
    std::string backup;
    for (const auto& name : world->disk.list(world->installed.parent()))
      if (name.starts_with(".Brindlewick.backup.")) backup = listing(world->installed.parent() / name);
    EXPECT_EQ(backup, before) << call;
  }

  /// At most one hidden item lies beside the application, under a name that the documents tell.
  void expectKnownLeftovers(int call) {
    static const std::regex known(
        R"((\.Brindlewick\.(incoming|backup)\.UUID\.app|\.\.Brindlewick\.(incoming|backup)\.UUID\.app\.UUID)?)");
    EXPECT_TRUE(std::regex_match(world->leftovers(), known)) << call << " " << world->leftovers();
  }

  std::unique_ptr<InstallWorld> world;
  std::string before;
  std::string next;
};

TEST_F(ApplicationSwapFaultTest, leavesTheOldOrTheNewApplicationInItsPlace) {
  const auto check = [&](int call, CallOutcome outcome) {
    EXPECT_EQ(listing(world->installed), outcome == CallOutcome::success ? next : before) << call;
    expectKnownLeftovers(call);
  };
  EXPECT_GT(sweepFrom(
                "copyTree", CallFault::failure, [](InstallWorld&) {}, check),
            150);
}

TEST_F(ApplicationSwapFaultTest, leavesAWholeApplicationWhereverItIsKilled) {
  const auto check = [&](int call, CallOutcome /*outcome*/) { expectAWholeApplication(call); };
  EXPECT_GT(sweepFrom(
                "copyTree", CallFault::death, [](InstallWorld&) {}, check),
            150);
}

TEST_F(ApplicationSwapFaultTest, putsTheOldApplicationBackWhateverFailsOnTheWay) {
  for (const auto fault : {CallFault::failure, CallFault::lackOfDescriptors}) {
    const auto check = [&](int call, CallOutcome outcome) {
      EXPECT_EQ(outcome, CallOutcome::failure) << call;
      EXPECT_EQ(listing(world->installed), before) << call;
      expectKnownLeftovers(call);
    };
    EXPECT_GT(sweepFrom(
                  "move", fault, [](InstallWorld& w) { w.codeSigning.damage(codeInPlace); }, check),
              50);
  }
}

TEST_F(ApplicationSwapFaultTest, leavesAWholeApplicationWhereverItIsKilledWhilePuttingBack) {
  for (const bool canExchange : {true, false}) {
    const auto spoil = [&](InstallWorld& w) {
      w.codeSigning.damage(codeInPlace);
      if (!canExchange) w.files.fail("exchange", 1, std::errc::not_supported);
    };
    const auto check = [&](int call, CallOutcome /*outcome*/) { expectAWholeApplication(call); };
    EXPECT_GT(sweepFrom("move", CallFault::death, spoil, check), 50);
  }
}

}  // namespace
}  // namespace brindlewick
