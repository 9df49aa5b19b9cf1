#include <fcntl.h>
#include <gmock/gmock.h>

#include "platform/posix/ChildSurroundings.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "support/Fails.h"

namespace brindlewick {
namespace {

using testing::failsWith;

constexpr std::size_t limit = 1'048'576;
const Path shell("/bin/sh");

std::string outputOf(const std::string& script) {
  return std::string(asText(PosixProcessLauncher().run(shell, {"-c", script}, limit).output));
}

TEST(MacProcess, givesAChildItsThreeStreamsAndNoOtherDescriptor) {
  const Descriptor inheritable(::open("/dev/null", O_RDONLY));  // without O_CLOEXEC
  ASSERT_TRUE(inheritable);
  const auto number = std::to_string(inheritable.get());
  EXPECT_EQ(outputOf("if { true <&" + number + "; } 2>/dev/null; then echo open; else echo closed; fi"), "closed\n");
  EXPECT_EQ(outputOf("for i in 0 1 2; do { true <&$i; } 2>/dev/null && echo $i; done"), "0\n1\n2\n");
}

TEST(MacProcess, givesAChildAFixedEnvironmentWithAUTF8Locale) {
  const auto run = PosixProcessLauncher().run(Path("/usr/bin/env"), {}, limit);
  EXPECT_EQ(asText(run.output), "PATH=/usr/bin:/bin:/usr/sbin:/sbin\n" + std::string(posix::localeSetting()) + "\n");
  EXPECT_EQ(outputOf("locale charmap"), "UTF-8\n");
}

TEST(MacProcess, setsTheUmaskAndTellsSuccessFromFailure) {
  EXPECT_EQ(outputOf("umask"), "0022\n");
  EXPECT_TRUE(PosixProcessLauncher().run(shell, {"-c", "exit 0"}, limit).succeeded);
  EXPECT_FALSE(PosixProcessLauncher().run(shell, {"-c", "exit 3"}, limit).succeeded);
}

TEST(MacProcess, saysWhyAProgramCannotBeStarted) {
  EXPECT_THAT([&] { static_cast<void>(PosixProcessLauncher().run(Path("/nothing/here"), {}, limit)); },
              failsWith(std::errc::no_such_file_or_directory));
  EXPECT_THAT([&] { PosixProcessLauncher().startDetached(Path("/etc/hosts"), {}); },
              failsWith(std::errc::permission_denied));
}

}  // namespace
}  // namespace brindlewick
