#include "install/ParentProcessWait.h"

#include <gmock/gmock.h>

#include "install/UpdateInstallError.h"
#include "support/Fails.h"
#include "support/ManualClock.h"
#include "support/ScriptedProcessLauncher.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;
using namespace std::chrono_literals;
using ::testing::Each;
using testing::fails;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct Wait {
  testing::EventLog log{"/nowhere"};
  testing::ScriptedProcessLauncher processes{log};
  testing::ManualClock clock;
  void run(std::int32_t process) { ParentProcessWait::wait(processes, clock, process); }
};

TEST(ParentProcessWait, returnsAtOnceWhenTheParentIsGone) {
  Wait wait;
  wait.processes.ended = [](std::int32_t process) { return process == 2; };
  wait.run(2);
  EXPECT_THAT(wait.clock.sleeps, IsEmpty());
}

TEST(ParentProcessWait, refusesAnIdentifierBelowTwoWithoutWaiting) {
  for (const std::int32_t process : {1, 0, -1, std::numeric_limits<std::int32_t>::min()}) {
    Wait wait;
    EXPECT_THAT([&] { wait.run(process); }, fails(invalidCommand));
    EXPECT_THAT(wait.log.events(), IsEmpty());
    EXPECT_THAT(wait.clock.sleeps, IsEmpty());
  }
}

TEST(ParentProcessWait, looksEvery200MillisecondsFor30Seconds) {
  Wait wait;
  EXPECT_THAT([&] { wait.run(4711); }, fails(parentDidNotExit));
  EXPECT_THAT(wait.clock.sleeps, SizeIs(150));
  EXPECT_THAT(wait.clock.sleeps, Each(200'000us));
  EXPECT_THAT(wait.log.events(), SizeIs(150));
}

TEST(ParentProcessWait, seesAParentThatEndsDuringTheLastSleepTooLate) {
  Wait wait;
  wait.processes.ended = [&](std::int32_t) { return wait.clock.sleeps.size() == 149; };
  EXPECT_NO_THROW(wait.run(4711));
  Wait late;
  late.processes.ended = [&](std::int32_t) { return late.clock.sleeps.size() == 150; };
  EXPECT_THAT([&] { late.run(4711); }, fails(parentDidNotExit));
}

TEST(ParentProcessWait, doesNotMindThatSomebodySetsTheCalendar) {
  Wait wait;
  wait.clock.whileAsleep = [&] { wait.clock.date += 24h; };
  wait.processes.ended = [&](std::int32_t) { return wait.clock.sleeps.size() == 100; };
  EXPECT_NO_THROW(wait.run(4711));
}

}  // namespace
}  // namespace brindlewick
