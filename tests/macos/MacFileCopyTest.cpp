#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <climits>

#include "platform/posix/Descriptor.h"
#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::failsWith;

/// Where on the device the first block of a file lies.
off_t firstBlock(const Path& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY));
  ::fsync(file.get());
  log2phys place{};
  place.l2p_contigbytes = 4096;
  EXPECT_EQ(::fcntl(file.get(), F_LOG2PHYS_EXT, &place), 0);
  return place.l2p_devoffset;
}

class MacFileCopyTest : public ::testing::Test {
 protected:
  MacFileCopyTest() {
    testing::writeFile(bundle / "Contents/MacOS/Program", std::string(1 << 20, 'x'), 0755);
    testing::writeFile(bundle / "Contents/Info.plist", "plist", 0444);
    EXPECT_EQ(::symlink("Contents/MacOS/Program", (bundle / "Program").c_str()), 0);
  }

  testing::TemporaryFolder folder;
  Path bundle = folder / "Brindlewick.app";
  Path copy = folder / "Copy.app";
  PosixFileSystem files;
};

TEST_F(MacFileCopyTest, copiesATreeWithItsModesAndLinks) {
  files.copyTree(bundle, copy);
  EXPECT_EQ(testing::listing(copy), testing::listing(bundle));
  EXPECT_EQ(testing::readFile(copy / "Contents/Info.plist"), "plist");
}

TEST_F(MacFileCopyTest, sharesTheBlocksOfTheOriginal) {
  files.copyTree(bundle, copy);
  EXPECT_EQ(firstBlock(copy / "Contents/MacOS/Program"), firstBlock(bundle / "Contents/MacOS/Program"));
}

TEST_F(MacFileCopyTest, copiesTimesAndExtendedAttributes) {
  const auto program = bundle / "Contents/MacOS/Program";
  ASSERT_EQ(::setxattr(program.c_str(), "com.brindlewick.test", "value", 5, 0, 0), 0);
  const std::array<timespec, 2> times{{{1000, 5}, {2000, 7}}};
  ASSERT_EQ(::utimensat(AT_FDCWD, program.c_str(), times.data(), 0), 0);
  files.copyTree(bundle, copy);

  const auto copied = copy / "Contents/MacOS/Program";
  std::array<char, 5> value{};
  EXPECT_EQ(::getxattr(copied.c_str(), "com.brindlewick.test", value.data(), value.size(), 0, 0), 5);
  EXPECT_EQ(std::string(value.data(), value.size()), "value");
  struct stat status {};
  ASSERT_EQ(::stat(copied.c_str(), &status), 0);
  EXPECT_EQ(status.st_mtimespec.tv_sec, 2000);
  EXPECT_EQ(status.st_mtimespec.tv_nsec, 7);
}

TEST_F(MacFileCopyTest, doesNotCopyOverWhatIsThere) {
  files.createDirectory(copy, 0755);
  EXPECT_THAT([&] { files.copyTree(bundle, copy); }, failsWith(std::errc::file_exists));
}

TEST_F(MacFileCopyTest, movesWithoutReplacing) {
  testing::writeFile(copy, "in the way");
  EXPECT_THAT([&] { files.move(bundle, copy); }, failsWith(std::errc::file_exists));
  EXPECT_EQ(testing::readFile(copy), "in the way");
  EXPECT_TRUE(testing::exists(bundle));
  files.move(bundle, folder / "Free.app");
  EXPECT_FALSE(testing::exists(bundle));
  EXPECT_TRUE(testing::exists(folder / "Free.app/Contents/Info.plist"));
}

TEST_F(MacFileCopyTest, exchangesTwoItems) {
  testing::writeFile(copy / "other", "other");
  files.exchange(bundle, copy);
  EXPECT_TRUE(testing::exists(copy / "Contents/Info.plist"));
  EXPECT_EQ(testing::readFile(bundle / "other"), "other");
  EXPECT_THAT([&] { files.exchange(bundle, folder / "missing"); }, failsWith(std::errc::no_such_file_or_directory));
}

TEST_F(MacFileCopyTest, writesSyncsAndRemoves) {
  files.writeAtomically(folder / "receipt.json", asBytes("{}"), 0600);
  EXPECT_EQ(testing::readFile(folder / "receipt.json"), "{}");
  EXPECT_NO_THROW(files.sync(bundle, Extent::tree));
  files.removeTree(bundle);
  EXPECT_THAT(files.list(folder.path()), ::testing::ElementsAre("receipt.json"));
}

TEST_F(MacFileCopyTest, putsTemporaryFilesIntoTheUsersOwnFolder) {
  std::array<char, PATH_MAX> place{};
  ASSERT_GT(::confstr(_CS_DARWIN_USER_TEMP_DIR, place.data(), place.size()), 0U);
  const auto made = files.createTemporaryDirectory(folder / "staging");
  EXPECT_EQ(made.parent(), Path(place.data()));
  EXPECT_EQ(testing::permissionsOf(made), 0700U);
  files.removeTree(made);
}

}  // namespace
}  // namespace brindlewick
