#include "platform/linux/TransferClock.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>

namespace brindlewick {
namespace {

using std::chrono::seconds;

constexpr TransferClock::TimePoint start{};
constexpr TransferTimeouts timeouts;

/// A clock of the program's own limits: 30 s idle, 60 s until the answer, 300 s altogether.
TransferClock clockOfTheProgram() { return {timeouts, seconds(60), start}; }

struct Course {
  std::string name;
  /// What happens, and the first second at which it is over.
  std::function<void(TransferClock&)> happens;
  seconds end;
};

class TransferClockEnds : public ::testing::TestWithParam<Course> {};

TEST_P(TransferClockEnds, atTheFirstLimitThatIsReached) {
  auto clock = clockOfTheProgram();
  GetParam().happens(clock);
  EXPECT_FALSE(clock.isOver(start + GetParam().end - std::chrono::nanoseconds(1)));
  EXPECT_TRUE(clock.isOver(start + GetParam().end));
}

const auto nothing = [](TransferClock&) {};

/// Bytes arrive so often that it is never idle for long.
void bytesUntil(TransferClock& clock, seconds last) {
  for (seconds at{0}; at <= last; at += seconds(10)) clock.startIdling(start + at);
}

const Course courses[] = {
    {"aTaskBeginsIdle", nothing, seconds(30)},
    {"aLineOfAHeadIsProgress", [](auto& clock) { clock.startIdling(start + seconds(20)); }, seconds(50)},
    {"aHeadThatDrips", [](auto& clock) { bytesUntil(clock, seconds(50)); }, seconds(60)},
    {"aBodyThatDrips",
     [](auto& clock) {
       clock.noteAnswer();
       bytesUntil(clock, seconds(290));
     },
     seconds(300)},
    {"aBodyThatStops",
     [](auto& clock) {
       clock.noteAnswer();
       bytesUntil(clock, seconds(100));
     },
     seconds(130)},
    {"theNextHopHasNoTimeOfItsOwn",
     [](auto& clock) {
       clock.noteAnswer();
       bytesUntil(clock, seconds(50));
       clock.expectAnswer();
     },
     seconds(60)},
    {"bytesThatAreBeingWritten",
     [](auto& clock) {
       clock.noteAnswer();
       clock.stopIdling();
     },
     seconds(300)},
    {"bytesThatWereWritten",
     [](auto& clock) {
       clock.noteAnswer();
       clock.stopIdling();
       clock.startIdling(start + seconds(200));
     },
     seconds(230)},
};

INSTANTIATE_TEST_SUITE_P(Courses, TransferClockEnds, ::testing::ValuesIn(courses),
                         [](const auto& instance) { return instance.param.name; });

TEST(TransferClock, countsAnAnswerOnlyUntilTheNextRequest) {
  auto clock = clockOfTheProgram();
  clock.noteAnswer();
  clock.stopIdling();
  EXPECT_FALSE(clock.isOver(start + seconds(60)));
  clock.expectAnswer();
  EXPECT_TRUE(clock.isOver(start + seconds(60)));
}

}  // namespace
}  // namespace brindlewick
