#include "platform/TakenFile.h"

#include <gmock/gmock.h>

#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/FaultyFileSystem.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::failsWith;

class TakeFile : public ::testing::Test {
 protected:
  TakeFile() {
    testing::writeFile(owned, "archive", 0644);
    real.setPermissions(folder.path(), 0700);
  }

  testing::TemporaryFolder folder;
  Path owned = folder / "CFNetworkDownload.tmp";
  PosixFileSystem real;
  testing::EventLog log{folder.path().string()};
  testing::FaultyFileSystem files{real, log};
};

TEST_F(TakeFile, movesItIntoAPrivateFolderOfItsOwn) {
  const auto taken = takeFile(files, owned, folder / "staging");
  EXPECT_FALSE(testing::exists(owned));
  EXPECT_EQ(testing::readFile(taken), "archive");
  EXPECT_EQ(testing::permissionsOf(taken), 0600U);
  EXPECT_EQ(testing::permissionsOf(taken.parent()), 0700U);
  EXPECT_EQ(files.list(taken.parent()).size(), 1U);
  files.removeTree(taken.parent());
}

TEST_F(TakeFile, leavesNothingOfItsOwnWhicheverStepFails) {
  for (const char* step : {"createTemporaryDirectory", "move", "setPermissions"}) {
    testing::FaultyFileSystem faulty(real, log);
    faulty.fail(step, 1, std::errc::no_space_on_device);
    if (!testing::exists(owned)) testing::writeFile(owned, "archive", 0644);
    EXPECT_THAT([&] { static_cast<void>(takeFile(faulty, owned, folder / "staging")); },
                failsWith(std::errc::no_space_on_device))
        << step;
    for (const auto& name : real.list(folder.path())) EXPECT_EQ(name, owned.lastComponent()) << step;
  }
}

TEST_F(TakeFile, reportsTheFirstErrorEvenIfCleaningUpFailsToo) {
  files.fail("move", 1, std::errc::no_space_on_device);
  files.fail("removeTree", 1, std::errc::permission_denied);
  EXPECT_THAT([&] { static_cast<void>(takeFile(files, owned, folder / "staging")); },
              failsWith(std::errc::no_space_on_device));
}

}  // namespace
}  // namespace brindlewick
