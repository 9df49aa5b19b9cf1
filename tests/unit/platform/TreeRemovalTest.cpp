#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>

#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/OwnProcess.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::asOrdinaryUser;
using ::testing::ElementsAre;
using testing::exists;
using testing::failsWith;
using ::testing::IsEmpty;
using testing::nestFolders;
using testing::withDescriptors;
using testing::withFailingCall;
using testing::writeFile;

class TreeRemovalTest : public ::testing::Test {
 protected:
  /// A tree with folders in it that their owner may not list, enter or change.
  void lock(const Path& root) {
    for (const unsigned permissions : {0000U, 0111U, 0222U, 0333U, 0400U, 0444U, 0500U, 0555U}) {
      const auto folder = root / std::to_string(permissions);
      writeFile(folder / "inner" / "file", "x", 0000);
      files.setPermissions(folder / "inner", permissions);
      files.setPermissions(folder, permissions);
    }
  }

  testing::TemporaryFolder folder;
  PosixFileSystem files;
  Path tree = folder / "tree";
};

TEST_F(TreeRemovalTest, hasNoLimitOfDepth) {
  nestFolders(tree, 2'100);  // deeper than any path can say
  files.removeTree(tree);
  EXPECT_THAT(files.list(folder.path()), IsEmpty());
}

TEST_F(TreeRemovalTest, needsFewDescriptorsHoweverDeepTheTreeIs) {
  nestFolders(tree, 300);
  withDescriptors(10, [&] { files.removeTree(tree); });
  EXPECT_THAT(files.list(folder.path()), IsEmpty());
}

TEST_F(TreeRemovalTest, opensFoldersThatTheirOwnerMayNotEnter) {
  lock(tree);
  asOrdinaryUser(folder.path(), [&] { files.removeTree(tree); });
  EXPECT_THAT(files.list(folder.path()), IsEmpty());
}

TEST_F(TreeRemovalTest, opensFoldersOnSystemsWithoutTheCallThatSetsPermissionsWithoutFollowingLinks) {
  constexpr long fchmodat2 = 452;
  for (const int code : {ENOSYS, EPERM}) {
    lock(tree);
    asOrdinaryUser(folder.path(), [&] { withFailingCall(fchmodat2, code, [&] { files.removeTree(tree); }); });
    EXPECT_THAT(files.list(folder.path()), IsEmpty());
  }
}

#ifdef SYS_chmod
TEST_F(TreeRemovalTest, opensFoldersWithoutThatCallAndWithoutTheFileSystemOfProcesses) {
  constexpr long fchmodat2 = 452;
  lock(tree);
  const auto remove = [&] { files.removeTree(tree); };
  // The C library takes the way through /proc by this call.
  const auto withoutProcesses = [&] { withFailingCall(SYS_chmod, ENOENT, remove); };
  asOrdinaryUser(folder.path(), [&] { withFailingCall(fchmodat2, ENOSYS, withoutProcesses); });
  EXPECT_THAT(files.list(folder.path()), IsEmpty());
}
#endif

TEST_F(TreeRemovalTest, removesWhereNothingCanBeRenamed) {
  for (const int code : {ENOSPC, EDQUOT, EIO, EACCES, EPERM, EBUSY, EINVAL, ENOSYS, EOPNOTSUPP, EMLINK, EEXIST, EXDEV})
    withFailingCall(SYS_renameat2, code, [&] {
      withFailingCall(SYS_renameat, code, [&] {
        lock(tree);
        files.removeTree(tree);
        EXPECT_THAT(files.list(folder.path()), IsEmpty()) << code;
        writeFile(tree, "a file");
        files.removeTree(tree);
        EXPECT_THAT(files.list(folder.path()), IsEmpty()) << code;
      });
    });
}

TEST_F(TreeRemovalTest, doesWithoutTheRightsThatItCannotGet) {
  // Root may do without, and whoever has the rights already does not need the calls.
  for (const long call : {long{SYS_fchmod}, long{SYS_fchmodat}, 452L})
    for (const int code : {EPERM, ENOSYS, EROFS}) {
      nestFolders(tree, 3);
      withFailingCall(call, code, [&] { files.removeTree(tree); });
      EXPECT_THAT(files.list(folder.path()), IsEmpty()) << call << " " << code;
    }
}

TEST_F(TreeRemovalTest, takesRightsFromNobodysFolderThroughALink) {
  writeFile(folder / "outside" / "canary", "alive", 0444);
  std::filesystem::permissions((folder / "outside").string(), std::filesystem::perms(0555));
  writeFile(tree / "locked" / "file", "x");
  std::filesystem::create_directory_symlink((folder / "outside").string(), (tree / "locked" / "link").string());
  std::filesystem::permissions((tree / "locked").string(), std::filesystem::perms(0555));
  asOrdinaryUser(folder.path(), [&] { files.removeTree(tree); });
  EXPECT_EQ(testing::permissionsOf(folder / "outside"), 0555U);
  EXPECT_EQ(testing::permissionsOf(folder / "outside" / "canary"), 0444U);
  EXPECT_THAT(files.list(folder.path()), ElementsAre("outside"));
}

TEST_F(TreeRemovalTest, leavesWhatThisUserMayNotChangeUnderAHiddenName) {
  writeFile(tree / "of another user" / "file", "x");
  writeFile(tree / "of another user" / "free" / "file", "x");
  std::filesystem::permissions((tree / "of another user").string(), std::filesystem::perms(0555));
  const auto remove = [&] { EXPECT_THAT([&] { files.removeTree(tree); }, failsWith(std::errc::permission_denied)); };
  asOrdinaryUser(folder.path(), [&] { withFailingCall(SYS_fchmod, EPERM, remove); });
  EXPECT_FALSE(exists(tree));
  const auto left = files.list(folder.path());
  ASSERT_THAT(left, ElementsAre(::testing::StartsWith(".tree.")));
  EXPECT_THAT(files.list(folder / left[0]), ElementsAre("of another user"));
  EXPECT_THAT(files.list(folder / left[0] / "of another user"), ElementsAre("file", "free"));
  EXPECT_THAT(files.list(folder / left[0] / "of another user" / "free"), IsEmpty());
}

}  // namespace
}  // namespace brindlewick
