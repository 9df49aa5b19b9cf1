#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "platform/AsciiText.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

TEST(ApplicationSwapTrace, asksTheKernelForNothingBetweenTheTwoRenames) {
  const testing::TemporaryFolder folder;
  const auto trace = folder / "trace";
  const auto program = std::filesystem::read_symlink("/proc/self/exe").string();
  // Its status is not asked for: a leak checker does not work under a tracer.
  static_cast<void>(PosixProcessLauncher().run(
      Path("/usr/bin/strace"), {"-o", trace.string(), program, "--gtest_filter=UpdateInstallerApply.putsTheNew*"},
      1'000'000));
  const auto text = testing::readFile(trace);
  const auto lines = split(text, '\n');
  const auto aside = std::ranges::find_if(lines, [](std::string_view line) {
    return line.starts_with("rename") && line.find("/.Brindlewick.backup.") != line.npos;
  });
  ASSERT_NE(aside, lines.end());
  ASSERT_NE(aside + 1, lines.end());
  EXPECT_THAT(std::string(*(aside + 1)), ::testing::MatchesRegex("rename.*/\\.Brindlewick\\.incoming\\..* = 0"));
  // The folder's list of names has just been synced, after all that the copy holds.
  ASSERT_GT(aside - lines.begin(), 2);
  EXPECT_TRUE((aside - 2)->starts_with("fsync(")) << *(aside - 2);
}

}  // namespace
}  // namespace brindlewick
