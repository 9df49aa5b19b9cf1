#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "platform/AsciiText.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

/// Sharing blocks works on some file systems only, but it has to be asked for on every one.
TEST(FileCopyTrace, asksForSharedBlocksBeforeItCopiesAnyFile) {
  const testing::TemporaryFolder folder;
  const auto trace = folder / "trace";
  const auto program = std::filesystem::read_symlink("/proc/self/exe").string();
  // Its status is not asked for: a leak checker does not work under a tracer.
  static_cast<void>(PosixProcessLauncher().run(Path("/usr/bin/strace"),
                                               {"-e", "trace=ioctl,copy_file_range", "-o", trace.string(), program,
                                                "--gtest_filter=TreeCopyTest.copiesATreeWithModes*"},
                                               1'000'000));
  std::vector<std::string> calls;
  const auto text = testing::readFile(trace);
  for (const auto line : split(text, '\n')) {
    if (line.find("FICLONE") != line.npos) calls.emplace_back("share");
    if (line.starts_with("copy_file_range(")) calls.emplace_back("copy");
  }
  ASSERT_THAT(calls, Not(IsEmpty()));
  EXPECT_EQ(calls.front(), "share");
  EXPECT_EQ(std::ranges::count(calls, "share"), 3) << text;  // one for each file
}

}  // namespace
}  // namespace brindlewick
