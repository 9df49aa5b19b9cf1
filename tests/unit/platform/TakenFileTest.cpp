#include "platform/TakenFile.h"

#include <gmock/gmock.h>

#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/FaultyFileSystem.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::failsWith;

class TakenFileTest : public ::testing::Test {
 protected:
  TakenFileTest() {
    testing::writeFile(owned, "archive", 0644);
    real.setPermissions(folder.path(), 0700);  // so that the private directory comes to lie in it
  }

  /// The names in the folder in which both the owner's file and ours come to lie.
  std::vector<std::string> names() { return real.list(folder.path()); }

  testing::TemporaryFolder folder;
  Path owned = folder / "CFNetworkDownload.tmp";
  Path destination = folder / "staging";
  PosixFileSystem real;
  testing::EventLog log{folder.path().string()};
  testing::FaultyFileSystem files{real, log};
};

TEST_F(TakenFileTest, liesInAPrivateDirectoryOfItsOwn) {
  const auto file = TakenFile(files, owned, destination).handOn();
  EXPECT_FALSE(testing::exists(owned));
  EXPECT_EQ(testing::readFile(file), "archive");
  EXPECT_EQ(testing::permissionsOf(file), 0600U);
  EXPECT_EQ(testing::permissionsOf(file.parent()), 0700U);
  EXPECT_EQ(real.list(file.parent()).size(), 1U);
}

TEST_F(TakenFileTest, isRemovedWithItsDirectoryUnlessHandedOn) {
  { const TakenFile file(files, owned, destination); }
  EXPECT_THAT(names(), ::testing::IsEmpty());
}

TEST_F(TakenFileTest, leavesNothingOfOursWhicheverStepFails) {
  for (const char* step : {"createTemporaryDirectory", "move"}) {
    testing::FaultyFileSystem faulty(real, log);
    faulty.fail(step, 1, std::errc::no_space_on_device);
    EXPECT_THAT([&] { TakenFile(faulty, owned, destination); }, failsWith(std::errc::no_space_on_device)) << step;
    EXPECT_THAT(names(), ::testing::ElementsAre("CFNetworkDownload.tmp")) << step;
  }
  files.fail("setPermissions", 1, std::errc::operation_not_permitted);
  EXPECT_THAT([&] { TakenFile(files, owned, destination); }, failsWith(std::errc::operation_not_permitted));
  EXPECT_THAT(names(), ::testing::IsEmpty());
}

TEST_F(TakenFileTest, reportsTheFirstErrorEvenIfCleaningUpFailsToo) {
  files.fail("move", 1, std::errc::no_space_on_device);
  files.fail("removeTree", 1, std::errc::permission_denied);
  EXPECT_THAT([&] { TakenFile(files, owned, destination); }, failsWith(std::errc::no_space_on_device));
}

}  // namespace
}  // namespace brindlewick
