#include "support/OwnProcess.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "support/SystemCallFilter.h"

namespace brindlewick::testing {

void inOwnProcess(const std::function<void()>& action) {
  const auto process = ::fork();
  ASSERT_GE(process, 0);
  if (process == 0) {
    try {
      action();
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ::waitpid(process, &status, 0);
  EXPECT_EQ(status, 0);
}

void withFailingCall(long number, int code, const std::function<void()>& action) {
  inOwnProcess([&] {
    failSystemCall(number, code);
    action();
  });
}

void asOrdinaryUser(const Path& folder, const std::function<void()>& action) {
  constexpr uid_t nobody = 65'534;
  if (::geteuid() != 0) return inOwnProcess(action);
  const auto hand = [](const std::filesystem::path& item) { ASSERT_EQ(::lchown(item.c_str(), nobody, nobody), 0); };
  hand(folder.string());
  for (const auto& item : std::filesystem::recursive_directory_iterator(folder.string())) hand(item);
  inOwnProcess([&] {
    ASSERT_EQ(::setgid(nobody), 0);
    ASSERT_EQ(::setuid(nobody), 0);
    action();
  });
}

void withDescriptors(unsigned count, const std::function<void()>& action) {
  inOwnProcess([&] {
    for (int open = 3; open < 1024; ++open) ::close(open);
    const rlimit limit{count, count};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    action();
  });
}

}  // namespace brindlewick::testing
