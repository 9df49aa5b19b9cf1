#include "platform/macos/MacSystemVersion.h"

#include <gtest/gtest.h>

#include "platform/posix/PosixProcessLauncher.h"

namespace brindlewick {
namespace {

TEST(MacSystemVersion, isWhatTheSystemTellsItsUser) {
  const auto run = PosixProcessLauncher().run(Path("/usr/bin/sw_vers"), {"-productVersion"}, 1024);
  const auto text = asText(run.output);
  const auto told = NumericSystemVersion::parse(text.substr(0, text.find('\n')));
  ASSERT_TRUE(told);
  EXPECT_EQ(MacSystemVersion().running(), *told);
  EXPECT_GE(told->major, 12);
}

}  // namespace
}  // namespace brindlewick
