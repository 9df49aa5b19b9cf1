#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>

namespace brindlewick {

/// The end of a task that runs on another thread and is waited for on this one.
class AwaitedEnd {
 public:
  /// How often the waiting thread looks whether the task is still wanted.
  static constexpr std::chrono::milliseconds interval{100};

  /// The task has ended: well, or with the exception that the waiting thread is to see. Only the first call counts.
  void arrive(std::exception_ptr failure) noexcept;

  /// Waits until the end has arrived, and then throws its failure. As soon as `isUnwanted` says so, `cancel` is called,
  /// once; even then the end is waited for, so that the other thread no longer uses what this one owns.
  void wait(const std::function<bool()>& isUnwanted, const std::function<void()>& cancel);

 private:
  std::mutex lock_;
  std::condition_variable arrival_;
  bool hasArrived_ = false;
  std::exception_ptr failure_;
};

}  // namespace brindlewick
