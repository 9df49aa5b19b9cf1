#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>

#include <filesystem>

#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/OwnProcess.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::failsWith;
using testing::listing;
using testing::readFile;
using testing::withFailingCall;
using testing::writeFile;

void link(const Path& target, const Path& path) { std::filesystem::create_symlink(target.string(), path.string()); }

class TreeCopyTest : public ::testing::Test {
 protected:
  testing::TemporaryFolder folder;
  PosixFileSystem files;
};

TEST_F(TreeCopyTest, copiesATreeWithModesTimesAttributesAndLinks) {
  const auto tree = folder / "tree";
  writeFile(tree / "Contents" / "MacOS" / "run", std::string(2'000'001, 'r'), 0755);
  writeFile(tree / "Contents" / "readonly", "r", 0444);
  writeFile(tree / "Contents" / "empty", "", 0600);
  link(Path("../readonly"), tree / "Contents" / "MacOS" / "link");
  ASSERT_EQ(::setxattr((tree / "Contents" / "readonly").c_str(), "user.note", "v", 1, 0), 0);
  const timespec times[] = {{1000, 5}, {2000, 7}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (tree / "Contents" / "empty").c_str(), times, 0), 0);
  std::filesystem::permissions((tree / "Contents").string(), std::filesystem::perms(0550));

  const auto before = ::umask(0777);
  files.copyTree(tree, folder / "copy");
  ::umask(before);
  EXPECT_EQ(listing(folder / "copy"), listing(tree));
  EXPECT_EQ(readFile(folder / "copy" / "Contents" / "MacOS" / "run"), std::string(2'000'001, 'r'));
  char value[8];
  EXPECT_EQ(::getxattr((folder / "copy" / "Contents" / "readonly").c_str(), "user.note", value, sizeof value), 1);
  struct stat status {};
  ASSERT_EQ(::lstat((folder / "copy" / "Contents" / "empty").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, 2000);
  EXPECT_EQ(status.st_mtim.tv_nsec, 7);
}

TEST_F(TreeCopyTest, copiesTimesAndExtendedAttributesOfTheRootAndOfEveryFolderAndLink) {
  const auto tree = folder / "tree";
  writeFile(tree / "inner" / "deep" / "file", "x");
  link(Path("nowhere"), tree / "inner" / "link");
  const char* const directories[] = {".", "inner", "inner/deep"};
  const char* const items[] = {".", "inner", "inner/deep", "inner/deep/file", "inner/link"};
  for (const char* item : directories)
    ASSERT_EQ(::setxattr((tree / item).c_str(), "user.note", item, std::string_view(item).size(), 0), 0);
  time_t seconds = 1000;
  for (const char* item : items) {
    const timespec times[] = {{++seconds, 5}, {++seconds, 7}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (tree / item).c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  }

  files.copyTree(tree, folder / "copy");
  seconds = 1000;
  for (const char* item : items) {
    struct stat status {};
    ASSERT_EQ(::lstat((folder / "copy" / item).c_str(), &status), 0) << item;
    seconds += 2;
    EXPECT_EQ(status.st_mtim.tv_sec, seconds) << item;
    EXPECT_EQ(status.st_mtim.tv_nsec, 7) << item;
  }
  for (const char* item : directories) {
    char value[32] = {};
    ASSERT_GT(::getxattr((folder / "copy" / item).c_str(), "user.note", value, sizeof value), 0) << item;
    EXPECT_STREQ(value, item);
  }
}

TEST_F(TreeCopyTest, copiesATreeToAFileSystemWithoutExtendedAttributes) {
  writeFile(folder / "tree" / "file", "x");
  for (const auto& item : {folder / "tree", folder / "tree" / "file"})
    ASSERT_EQ(::setxattr(item.c_str(), "user.note", "v", 1, 0), 0);
  withFailingCall(SYS_fsetxattr, ENOTSUP, [&] { files.copyTree(folder / "tree", folder / "copy"); });
  EXPECT_EQ(listing(folder / "copy"), listing(folder / "tree"));
  withFailingCall(SYS_fsetxattr, ENOSPC, [&] {
    EXPECT_THAT([&] { files.copyTree(folder / "tree", folder / "other"); }, failsWith(std::errc::no_space_on_device));
  });
}

TEST_F(TreeCopyTest, copiesNothingOverWhatExists) {
  writeFile(folder / "tree" / "file", "new");
  writeFile(folder / "copy" / "file", "old");
  EXPECT_THAT([&] { files.copyTree(folder / "tree", folder / "copy"); }, failsWith(std::errc::file_exists));
  EXPECT_EQ(readFile(folder / "copy" / "file"), "old");
}

}  // namespace
}  // namespace brindlewick
