#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "platform/posix/PosixFileSystem.h"
#include "support/CallFaults.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::CallFault;
using testing::CallOutcome;
using ::testing::Contains;
using testing::exists;
using testing::listing;
using testing::readFile;
using testing::writeFile;

/// Every operation that writes, at every system call that fails in it or ends the process.
class FileSystemFaultTest : public ::testing::TestWithParam<CallFault> {
 protected:
  void clear() {
    folder.emplace();
    at = folder->path();
  }
  int sweep(const std::function<void()>& prepare, const std::function<void()>& action,
            const std::function<void(int, CallOutcome)>& check) {
    const auto counted = [&](const auto& begin) {
      begin();
      action();
    };
    return testing::sweepCalls(GetParam(), {prepare, counted, check});
  }
  [[nodiscard]] std::vector<std::string> names() { return files.list(at); }

  std::optional<testing::TemporaryFolder> folder;
  Path at;
  PosixFileSystem files;
};

INSTANTIATE_TEST_SUITE_P(AtEveryCall, FileSystemFaultTest,
                         ::testing::Values(CallFault::failure, CallFault::lackOfDescriptors, CallFault::death));

TEST_P(FileSystemFaultTest, writesAFileWholeOrNotAtAll) {
  const auto calls = sweep(
      [&] {
        clear();
        writeFile(at / "file", "old", 0644);
      },
      [&] { files.writeAtomically(at / "file", asBytes("new"), 0600); },
      [&](int call, CallOutcome outcome) {
        const auto content = readFile(at / "file");
        if (outcome == CallOutcome::success) {
          EXPECT_EQ(content, "new") << call;
        }
        if (outcome == CallOutcome::failure) {
          EXPECT_EQ(content, "old") << call;
        }
        EXPECT_TRUE(content == "old" || content == "new") << call;
        EXPECT_EQ(testing::permissionsOf(at / "file"), content == "new" ? 0600U : 0644U) << call;
        if (outcome != CallOutcome::death) {
          EXPECT_EQ(names().size(), 1U) << call;
        }
      });
  EXPECT_GE(calls, 7);
}

TEST_P(FileSystemFaultTest, movesOrLeavesInPlace) {
  const auto calls = sweep(
      [&] {
        clear();
        writeFile(at / "from" / "file", "x");
      },
      [&] { files.move(at / "from", at / "to"); },
      [&](int call, CallOutcome outcome) {
        EXPECT_EQ(names().size(), 1U) << call;
        const bool isMoved = exists(at / "to" / "file");
        EXPECT_NE(isMoved, exists(at / "from" / "file")) << call;
        EXPECT_EQ(isMoved, outcome == CallOutcome::success) << call;
      });
  EXPECT_GE(calls, 1);
}

TEST_P(FileSystemFaultTest, movesAFileToAnotherFileSystemOrLeavesItInPlace) {
  const Path elsewhere("/dev/shm/brindlewick-fault-" + std::to_string(::getpid()));
  const auto calls = sweep(
      [&] {
        clear();
        writeFile(elsewhere, "content", 0600);
      },
      [&] { files.move(elsewhere, at / "to"); },
      [&](int call, CallOutcome outcome) {
        if (exists(at / "to")) {
          EXPECT_EQ(readFile(at / "to"), "content") << call;
        }
        EXPECT_TRUE(exists(at / "to") || exists(elsewhere)) << call;
        if (outcome == CallOutcome::death) return;
        const bool isMoved = outcome == CallOutcome::success;
        EXPECT_EQ(names(), isMoved ? std::vector<std::string>{"to"} : std::vector<std::string>{}) << call;
        EXPECT_EQ(exists(elsewhere), !isMoved) << call;
      });
  EXPECT_GE(calls, 10);
  std::filesystem::remove(elsewhere.string());
}

TEST_P(FileSystemFaultTest, exchangesOrLeavesBothInPlace) {
  const auto calls = sweep(
      [&] {
        clear();
        writeFile(at / "one" / "file", "one");
        writeFile(at / "other" / "file", "other");
      },
      [&] { files.exchange(at / "one", at / "other"); },
      [&](int call, CallOutcome outcome) {
        const bool isExchanged = outcome == CallOutcome::success;
        EXPECT_EQ(readFile(at / "one" / "file"), isExchanged ? "other" : "one") << call;
        EXPECT_EQ(readFile(at / "other" / "file"), isExchanged ? "one" : "other") << call;
      });
  EXPECT_EQ(calls, 1);
}

TEST_P(FileSystemFaultTest, copiesATreeWholeOrSaysThatItDidNot) {
  std::string original;
  const auto calls = sweep(
      [&] {
        clear();
        writeFile(at / "from" / "a" / "file", std::string(10'000, 'x'), 0755);
        std::filesystem::create_symlink("a/file", (at / "from" / "link").string());
        original = listing(at / "from");
      },
      [&] { files.copyTree(at / "from", at / "to"); },
      [&](int call, CallOutcome outcome) {
        EXPECT_EQ(listing(at / "from"), original) << call;
        if (outcome == CallOutcome::success) {
          EXPECT_EQ(listing(at / "to"), original) << call;
        }
      });
  EXPECT_GE(calls, 30);
}

TEST_P(FileSystemFaultTest, removesATreeOrLeavesTheRestUnderAHiddenName) {
  const auto calls = sweep(
      [&] {
        clear();
        writeFile(at / "tree" / "a" / "b" / "file", "x");
        writeFile(at / "tree" / "c" / "file", "x", 0400);
        writeFile(at / "canary", "alive");
      },
      [&] { files.removeTree(at / "tree"); },
      [&](int call, CallOutcome outcome) {
        EXPECT_EQ(readFile(at / "canary"), "alive") << call;
        EXPECT_THAT(names(), Contains("canary")) << call;
        if (outcome == CallOutcome::success) {
          EXPECT_EQ(names().size(), 1U) << call;
        }
        ASSERT_LE(names().size(), 2U) << call;
        // One more try removes whatever was left, and a failing call left it
        // where it was or hidden.
        for (const auto& name : names()) {
          if (name == "canary") continue;
          EXPECT_TRUE(name == "tree" || name.starts_with(".tree.")) << call << " " << name;
          files.removeTree(at / name);
          EXPECT_FALSE(exists(at / name)) << call;
        }
      });
  EXPECT_GE(calls, 25);
}

TEST_P(FileSystemFaultTest, createsDirectoriesWithTheirPermissionsOrNot) {
  const auto calls = sweep(
      [&] { clear(); }, [&] { files.createDirectories(at / "a" / "b", 0750); },
      [&](int call, CallOutcome outcome) {
        for (const auto& made : {at / "a", at / "a" / "b"})
          if (exists(made) && outcome != CallOutcome::death) {
            EXPECT_EQ(testing::permissionsOf(made), 0750U) << call;
          }
        EXPECT_EQ(exists(at / "a" / "b") && outcome != CallOutcome::death, outcome == CallOutcome::success) << call;
      });
  EXPECT_GE(calls, 6);
}

}  // namespace
}  // namespace brindlewick
