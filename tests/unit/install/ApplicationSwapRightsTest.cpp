#include <gmock/gmock.h>
#include <sys/syscall.h>

#include <cerrno>

#include "install/UpdateInstallError.h"
#include "support/Fails.h"
#include "support/InstallWorld.h"
#include "support/OwnProcess.h"
#include "support/SystemCallFilter.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;
using testing::fails;
using testing::InstallWorld;

/// The fifth code that apply asks for is that of the new application in its place.
constexpr int codeInPlace = 5;

TEST(ApplicationSwapOfAnOrdinaryUser, putsTheOldApplicationBackOverAnUndeletableFileInTheNewOne) {
  InstallWorld world;
  world.afterExpansion = [&](const Path& folder) {
    const auto locked = folder / "Brindlewick.app/Contents/Locked";
    testing::writeFile(locked / "file", "");
    world.disk.setPermissions(locked, 0500);
  };
  world.prepared();
  world.codeSigning.damage(codeInPlace);
  // As if the folder belonged to somebody else.
  world.files.runBefore("exchange", 1, [] { testing::failSystemCall(SYS_fchmod, EPERM); });
  testing::asOrdinaryUser(world.folder.path(), [&] { EXPECT_THAT([&] { world.apply(); }, fails(replacementFailed)); });
  EXPECT_EQ(world.installedVersion(), "2.3.0");
  // What could not be deleted of the new one, out of the way.
  EXPECT_EQ(world.leftovers(), "..Brindlewick.backup.UUID.app.UUID");
}

TEST(ApplicationSwapOfAnOrdinaryUser, refusesAFolderThatAnOrdinaryUserMayNotWriteTo) {
  InstallWorld world;
  world.prepared();
  std::string before;
  world.disk.setPermissions(world.installed.parent(), 0555);
  before = world.everything();
  testing::asOrdinaryUser(world.folder.path(),
                          [&] { EXPECT_THAT([&] { world.apply(); }, fails(destinationNotWritable)); });
  EXPECT_EQ(world.everything(), before);
  world.disk.setPermissions(world.installed.parent(), 0755);
}

}  // namespace
}  // namespace brindlewick
