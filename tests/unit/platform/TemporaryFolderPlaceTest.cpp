#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/HiddenFolder.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::permissionsOf;

constexpr uid_t nobody = 65534;

/// A staging directory in a folder that others can write to, so that a download has no place beside it.
class TemporaryFolderPlaceTest : public ::testing::Test {
 protected:
  TemporaryFolderPlaceTest() {
    ::chmod(folder.path().c_str(), 0777);
    files.createDirectory(staging, 0700);
  }

  /// Where a download for this destination goes.
  Path placeFor(const Path& destination) {
    const auto made = files.createTemporaryDirectory(destination);
    EXPECT_EQ(permissionsOf(made), 0700U);
    std::filesystem::remove(made.string());
    return made.parent();
  }

  void giveAwayAsSuperuser() { EXPECT_TRUE(::geteuid() != 0 || ::chown(staging.c_str(), nobody, nobody) == 0); }

  /// As an ordinary user with a folder in the root of the system, and nothing to write to beside it.
  void searchWithoutASharedFolder() try {
    testing::becomeOrdinary();
    EXPECT_EQ(::mount(staging.c_str(), "/mnt", nullptr, MS_BIND, nullptr), 0);
    testing::hideFolder("/var/tmp");
    EXPECT_EQ(placeFor(Path("/mnt")), Path("/mnt"));
    files.setPermissions(Path("/mnt"), 0755);
    EXPECT_THROW(static_cast<void>(placeFor(Path("/mnt"))), PlatformError);
    EXPECT_EQ(permissionsOf(Path("/mnt")), 0755U) << "nothing is changed before the hash was checked";
    EXPECT_THAT(files.list(Path("/mnt")), ::testing::IsEmpty());
  } catch (const std::exception& error) {
    ADD_FAILURE() << error.what();
  }

  testing::TemporaryFolder folder;
  PosixFileSystem files;
  Path staging = folder / "staging";
};

TEST_F(TemporaryFolderPlaceTest, isTheDestinationIfThatIsOursAlone) {
  for (const unsigned mode : {0700U, 01700U}) {
    files.setPermissions(staging, mode);
    EXPECT_EQ(placeFor(staging), staging);
    EXPECT_EQ(permissionsOf(staging), mode);
  }
}

TEST_F(TemporaryFolderPlaceTest, isBesideTheDestinationIfThatFolderIsOursAlone) {
  ::chmod(folder.path().c_str(), 0755);
  EXPECT_EQ(placeFor(staging), folder.path());
}

TEST_F(TemporaryFolderPlaceTest, isNotTheDestinationIfOthersReachIt) {
  for (const unsigned mode : {0701U, 0710U, 0740U, 0702U, 0755U, 0777U}) {
    files.setPermissions(staging, mode);
    EXPECT_EQ(placeFor(staging), Path("/var/tmp")) << std::oct << mode;
  }
}

TEST_F(TemporaryFolderPlaceTest, isNotTheDestinationIfThatIsNoFolder) {
  std::filesystem::create_symlink("staging", (folder / "link").string());
  testing::writeFile(folder / "file", "", 0600);
  for (const char* name : {"link", "file", "missing"}) EXPECT_EQ(placeFor(folder / name), Path("/var/tmp")) << name;
}

TEST_F(TemporaryFolderPlaceTest, isNotTheDestinationOfSomebodyElse) {
  // For anybody else the root of the system is somebody else's.
  giveAwayAsSuperuser();
  EXPECT_EQ(placeFor(::geteuid() == 0 ? staging : Path("/")), Path("/var/tmp"));
}

TEST_F(TemporaryFolderPlaceTest, isFoundInAFolderOfSomebodyElseWithoutASharedOne) {
  giveAwayAsSuperuser();
  const auto process = ::fork();
  if (process == 0) {
    if (::geteuid() == 0) static_cast<void>(::setgid(nobody) + ::setuid(nobody));
    searchWithoutASharedFolder();
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ::waitpid(process, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace brindlewick
