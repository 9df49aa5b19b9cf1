#include "platform/posix/AwaitedEnd.h"

#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace brindlewick {
namespace {

const auto wanted = [] { return false; };
const auto unwanted = [] { return true; };
const auto mustNotCancel = [] { ADD_FAILURE() << "cancelled a task that is wanted"; };

TEST(AwaitedEnd, isSeenByTheWaitingThread) {
  AwaitedEnd end;
  std::atomic<bool> hasEnded = false;
  std::thread task([&] {
    hasEnded = true;
    end.arrive(nullptr);
  });
  end.wait(wanted, mustNotCancel);
  EXPECT_TRUE(hasEnded);
  task.join();
}

TEST(AwaitedEnd, isSeenWhenItCameBeforeTheWaiting) {
  AwaitedEnd end;
  end.arrive(nullptr);
  end.wait(unwanted, mustNotCancel);
}

TEST(AwaitedEnd, throwsTheFailureOfTheTask) {
  AwaitedEnd end;
  end.arrive(std::make_exception_ptr(std::runtime_error("no connection")));
  EXPECT_THAT([&] { end.wait(wanted, mustNotCancel); },
              ::testing::ThrowsMessage<std::runtime_error>(::testing::StrEq("no connection")));
}

TEST(AwaitedEnd, countsOnlyTheFirstTime) {
  AwaitedEnd end;
  end.arrive(nullptr);
  end.arrive(std::make_exception_ptr(std::runtime_error("late")));
  EXPECT_NO_THROW(end.wait(wanted, mustNotCancel));
}

TEST(AwaitedEnd, cancelsOnceAndStillWaitsForTheEnd) {
  AwaitedEnd end;
  int cancellations = 0;
  std::atomic<bool> hasEnded = false;
  std::thread task;
  EXPECT_THROW(end.wait(unwanted,
                        [&] {
                          ++cancellations;
                          task = std::thread([&] {
                            hasEnded = true;
                            end.arrive(std::make_exception_ptr(std::runtime_error("cancelled")));
                          });
                        }),
               std::runtime_error);
  EXPECT_EQ(cancellations, 1);
  EXPECT_TRUE(hasEnded);
  task.join();
}

TEST(AwaitedEnd, mayArriveFromTheCancellingItself) {
  AwaitedEnd end;
  EXPECT_NO_THROW(end.wait(unwanted, [&] { end.arrive(nullptr); }));
}

}  // namespace
}  // namespace brindlewick
