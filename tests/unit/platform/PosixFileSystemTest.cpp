#include "platform/posix/PosixFileSystem.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>

#include "platform/ReadWhole.h"
#include "platform/posix/Descriptor.h"
#include "support/Fails.h"
#include "support/OwnProcess.h"
#include "support/SystemCallFilter.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using ::testing::ElementsAre;
using testing::exists;
using testing::failsWith;
using ::testing::IsEmpty;
using testing::listing;
using testing::permissionsOf;
using testing::readFile;
using testing::withFailingCall;
using testing::writeFile;

void link(const Path& target, const Path& path) { std::filesystem::create_symlink(target.string(), path.string()); }

/// Sets the umask of one test and puts the old one back.
class Umask {
 public:
  explicit Umask(mode_t mask) : before_(::umask(mask)) {}
  ~Umask() { ::umask(before_); }
  Umask(const Umask&) = delete;
  Umask& operator=(const Umask&) = delete;

 private:
  mode_t before_;
};

class PosixFileSystemTest : public ::testing::Test {
 protected:
  testing::TemporaryFolder folder;
  PosixFileSystem files;
};

TEST_F(PosixFileSystemTest, tellsAttributesOfTheItemItself) {
  writeFile(folder / "file", "12345", 0640);
  link(folder / "file", folder / "link");
  link(folder / "nowhere", folder / "dangling");
  EXPECT_EQ(files.attributes(folder / "file")->kind, FileKind::regular);
  EXPECT_EQ(files.attributes(folder / "file")->byteCount, 5U);
  EXPECT_EQ(files.attributes(folder / "file")->permissions, 0640U);
  EXPECT_EQ(files.attributes(folder / "file")->owner, ::geteuid());
  EXPECT_EQ(files.attributes(folder.path())->kind, FileKind::directory);
  EXPECT_EQ(files.attributes(folder / "link")->kind, FileKind::symbolicLink);
  EXPECT_EQ(files.attributes(folder / "dangling")->kind, FileKind::symbolicLink);
  EXPECT_EQ(files.attributes(folder / "missing"), std::nullopt);
  EXPECT_EQ(files.attributes(folder / "file" / "below"), std::nullopt);
}

TEST_F(PosixFileSystemTest, opensALinkWithoutFollowingIt) {
  writeFile(folder / "file", "content");
  link(folder / "file", folder / "link");
  const auto item = files.open(folder / "link", FinalLink::refused);
  EXPECT_EQ(item->attributes().kind, FileKind::symbolicLink);
  EXPECT_THAT([&] { static_cast<void>(readWhole(*item, 100)); }, failsWith(std::errc::too_many_symbolic_link_levels));
  EXPECT_EQ(asText(readWhole(*files.open(folder / "link", FinalLink::followed), 100).value()), "content");
}

TEST_F(PosixFileSystemTest, doesNotWaitForTheWriterOfAPipe) {
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(files.open(folder / "pipe", FinalLink::refused)->attributes().kind, FileKind::other);
}

TEST_F(PosixFileSystemTest, readsTheFileThatWasOpenedEvenIfItIsExchanged) {
  writeFile(folder / "file", "checked");
  const auto item = files.open(folder / "file", FinalLink::refused);
  std::filesystem::remove((folder / "file").string());
  writeFile(folder / "file", "another");
  EXPECT_EQ(asText(readWhole(*item, 100).value()), "checked");
}

TEST_F(PosixFileSystemTest, readsNoMoreThanAsked) {
  writeFile(folder / "file", std::string(101, 'x'));
  EXPECT_EQ(readWhole(*files.open(folder / "file", FinalLink::refused), 100), std::nullopt);
  EXPECT_EQ(readWhole(*files.open(folder / "file", FinalLink::refused), 101)->size(), 101U);
  EXPECT_THAT([&] { static_cast<void>(files.open(folder / "missing", FinalLink::refused)); },
              failsWith(std::errc::no_such_file_or_directory));
  EXPECT_THAT([&] { static_cast<void>(readWhole(*files.open(folder.path(), FinalLink::refused), 1)); },
              failsWith(std::errc::invalid_argument));
}

TEST_F(PosixFileSystemTest, createsDirectoriesWithExactPermissionsUnderAnyUmask) {
  for (const mode_t mask : {0U, 022U, 077U, 0777U}) {
    const Umask umask(mask);
    const auto name = std::to_string(mask);
    files.createDirectory(folder / name, 0755);
    EXPECT_EQ(permissionsOf(folder / name), 0755U);
    files.createDirectories(folder / name / "a" / "b", 0700);
    EXPECT_EQ(permissionsOf(folder / name / "a"), 0700U);
    EXPECT_EQ(permissionsOf(folder / name / "a" / "b"), 0700U);
    EXPECT_EQ(permissionsOf(folder / name), 0755U) << "an existing directory keeps its permissions";
  }
  EXPECT_THAT([&] { files.createDirectory(folder / "0", 0700); }, failsWith(std::errc::file_exists));
}

TEST_F(PosixFileSystemTest, refusesToCreateDirectoriesThroughAFile) {
  writeFile(folder / "file", "");
  EXPECT_THAT([&] { files.createDirectories(folder / "file", 0700); }, failsWith(std::errc::file_exists));
  EXPECT_THAT([&] { files.createDirectories(folder / "file" / "a", 0700); }, failsWith(std::errc::not_a_directory));
}

TEST_F(PosixFileSystemTest, refusesToCreateDirectoriesWhereNoneCanBe) {
  // There mkdir says of every name that its folder does not exist.
  for (const char* place : {"/proc/zz", "/proc/zz/a/b", "/proc/self/zz"})
    EXPECT_THAT([&] { files.createDirectories(Path(place), 0700); }, failsWith(std::errc::no_such_file_or_directory));
  const auto removed = folder / "removed";
  std::filesystem::create_directory(removed.string());
  const Descriptor open(::open(removed.c_str(), O_RDONLY | O_DIRECTORY));
  std::filesystem::remove(removed.string());
  const Path inside("/proc/self/fd/" + std::to_string(open.get()) + "/a/b");
  EXPECT_THAT([&] { files.createDirectories(inside, 0700); }, failsWith(std::errc::no_such_file_or_directory));
}

TEST_F(PosixFileSystemTest, setsPermissionsWhereNoCallSetsThoseOfANameWithoutFollowingLinks) {
  constexpr long fchmodat2 = 452;
  writeFile(folder / "file", "", 0644);
  link(folder / "file", folder / "link");
  withFailingCall(fchmodat2, ENOSYS, [&] {
    withFailingCall(SYS_fchmodat, ENOENT, [&] {
#ifdef SYS_chmod
      testing::failSystemCall(SYS_chmod, ENOENT);  // as if there were no /proc
#endif
      files.setPermissions(folder / "file", 0600);
      EXPECT_THROW(files.setPermissions(folder / "link", 0777), PlatformError);
    });
  });
  EXPECT_EQ(permissionsOf(folder / "file"), 0600U);
}

TEST_F(PosixFileSystemTest, setsPermissionsOfTheItemAndNeverThroughALink) {
  writeFile(folder / "file", "", 0644);
  link(folder / "file", folder / "link");
  files.setPermissions(folder / "file", 0600);
  EXPECT_EQ(permissionsOf(folder / "file"), 0600U);
  EXPECT_THROW(files.setPermissions(folder / "link", 0777), PlatformError);
  EXPECT_EQ(permissionsOf(folder / "file"), 0600U);
}

TEST_F(PosixFileSystemTest, writesAtomicallyWithExactPermissions) {
  for (const mode_t mask : {0U, 077U, 0777U}) {
    const Umask umask(mask);
    files.writeAtomically(folder / "file", asBytes("first"), 0600);
    EXPECT_EQ(permissionsOf(folder / "file"), 0600U);
  }
  files.writeAtomically(folder / "file", asBytes("second"), 0640);
  EXPECT_EQ(readFile(folder / "file"), "second");
  EXPECT_EQ(permissionsOf(folder / "file"), 0640U);
  EXPECT_THAT(files.list(folder.path()), ElementsAre("file"));
}

TEST_F(PosixFileSystemTest, replacesALinkRatherThanWriteThroughIt) {
  writeFile(folder / "target", "kept");
  link(folder / "target", folder / "link");
  files.writeAtomically(folder / "link", asBytes("new"), 0600);
  EXPECT_EQ(readFile(folder / "target"), "kept");
  EXPECT_EQ(files.attributes(folder / "link")->kind, FileKind::regular);
}

TEST_F(PosixFileSystemTest, leavesNothingBehindWhenAWriteFails) {
  files.createDirectory(folder / "target", 0700);
  EXPECT_THROW(files.writeAtomically(folder / "target", asBytes("x"), 0600), PlatformError);
  EXPECT_THAT(files.list(folder.path()), ElementsAre("target"));
  EXPECT_THAT(files.list(folder / "target"), IsEmpty());
}

TEST_F(PosixFileSystemTest, movesWithoutEverReplacing) {
  writeFile(folder / "a", "a");
  writeFile(folder / "b", "b");
  EXPECT_THAT([&] { files.move(folder / "a", folder / "b"); }, failsWith(std::errc::file_exists));
  EXPECT_EQ(readFile(folder / "b"), "b");
  files.move(folder / "a", folder / "c");
  EXPECT_EQ(readFile(folder / "c"), "a");
  EXPECT_FALSE(exists(folder / "a"));
  link(folder / "nowhere", folder / "dangling");
  EXPECT_THAT([&] { files.move(folder / "c", folder / "dangling"); }, failsWith(std::errc::file_exists));
  EXPECT_THAT([&] { files.move(folder / "missing", folder / "d"); }, failsWith(std::errc::no_such_file_or_directory));
}

TEST_F(PosixFileSystemTest, movesAFileToAnotherFileSystem) {
  // /dev/shm is memory on every Linux machine, the test's folder is on disk.
  const Path elsewhere("/dev/shm/brindlewick-move-" + std::to_string(::getpid()));
  struct stat here {
  }, there{};
  ASSERT_EQ(::stat(folder.path().c_str(), &here), 0);
  ASSERT_EQ(::stat("/dev/shm", &there), 0);
  ASSERT_NE(here.st_dev, there.st_dev);
  writeFile(elsewhere, std::string(3'000'000, 'm'), 0600);
  files.move(elsewhere, folder / "moved");
  EXPECT_FALSE(exists(elsewhere));
  EXPECT_EQ(readFile(folder / "moved"), std::string(3'000'000, 'm'));
  EXPECT_EQ(permissionsOf(folder / "moved"), 0600U);

  writeFile(elsewhere, "kept");
  EXPECT_THAT([&] { files.move(elsewhere, folder / "moved"); }, failsWith(std::errc::file_exists));
  EXPECT_EQ(readFile(elsewhere), "kept");
  EXPECT_THAT(files.list(folder.path()), ElementsAre("moved"));
  std::filesystem::remove(elsewhere.string());
}

TEST_F(PosixFileSystemTest, copiesSyncsAndRemovesATreeInAFolderThatIsReachedThroughALink) {
  writeFile(folder / "from" / "tree" / "file", "x");
  std::filesystem::create_directory((folder / "to").string());
  link(folder / "from", folder / "linkFrom");
  link(folder / "to", folder / "linkTo");
  files.copyTree(folder / "linkFrom" / "tree", folder / "linkTo" / "copy");
  files.sync(folder / "linkTo" / "copy", Extent::tree);
  EXPECT_EQ(readFile(folder / "to" / "copy" / "file"), "x");
  files.removeTree(folder / "linkTo" / "copy");
  EXPECT_TRUE(files.list(folder / "to").empty());
}

TEST_F(PosixFileSystemTest, leavesNoDirectoryThatDidNotGetItsPermissions) {
  withFailingCall(SYS_fchmod, EIO, [&] {
    for (const auto& create : {&PosixFileSystem::createDirectory, &PosixFileSystem::createDirectories})
      EXPECT_THAT([&] { (files.*create)(folder / "new", 0755); }, failsWith(std::errc::io_error));
  });
  EXPECT_FALSE(exists(folder / "new"));
}

TEST_F(PosixFileSystemTest, removesATreeAndNeverWhatItsLinksPointTo) {
  writeFile(folder / "outside" / "canary", "alive");
  writeFile(folder / "tree" / "deep" / "file", "x");
  link(folder / "outside", folder / "tree" / "link");
  link(folder / "outside", folder / "linkToTree");
  files.removeTree(folder / "tree");
  files.removeTree(folder / "linkToTree");
  files.removeTree(folder / "missing");
  EXPECT_THAT(files.list(folder.path()), ElementsAre("outside"));
  EXPECT_EQ(readFile(folder / "outside" / "canary"), "alive");
}

TEST_F(PosixFileSystemTest, walksEveryItemWithoutFollowingLinks) {
  writeFile(folder / "tree" / "b" / "file", "x");
  writeFile(folder / "outside" / "file", "x");
  link(folder / "outside", folder / "tree" / "a");
  std::vector<std::string> seen;
  for (const auto& item : files.walk(folder / "tree")) seen.push_back(item.relativePath);
  EXPECT_THAT(seen, ElementsAre("a", "b", "b/file"));
  EXPECT_EQ(files.walk(folder / "tree")[0].kind, FileKind::symbolicLink);
}

TEST_F(PosixFileSystemTest, refusesToListOrWalkThroughALink) {
  link(folder.path(), folder / "link");
  EXPECT_THROW(static_cast<void>(files.list(folder / "link")), PlatformError);
  EXPECT_THROW(static_cast<void>(files.walk(folder / "link")), PlatformError);
}

TEST_F(PosixFileSystemTest, createsPrivateTemporaryFoldersNearTheirDestination) {
  std::filesystem::permissions(folder.path().string(), std::filesystem::perms(0700));
  const auto temporary = files.createTemporaryDirectory(folder / "not" / "yet" / "there");
  EXPECT_EQ(temporary.parent(), folder.path());
  EXPECT_EQ(permissionsOf(temporary), 0700U);
  EXPECT_NE(temporary, files.createTemporaryDirectory(folder / "not"));
}

TEST_F(PosixFileSystemTest, createsTemporaryFoldersElsewhereIfOthersCouldWriteThere) {
  std::filesystem::permissions(folder.path().string(), std::filesystem::perms(0777));
  const auto temporary = files.createTemporaryDirectory(folder / "staging");
  EXPECT_EQ(temporary.parent(), Path("/var/tmp"));
  std::filesystem::remove(temporary.string());
  const auto fromMemory = files.createTemporaryDirectory(Path("/dev/shm/staging"));
  EXPECT_EQ(fromMemory.parent(), Path("/var/tmp")) << "a download does not belong in memory";
  std::filesystem::remove(fromMemory.string());
}

TEST_F(PosixFileSystemTest, syncsFilesFoldersAndTrees) {
  writeFile(folder / "tree" / "a" / "file", "x", 0400);
  link(Path("nowhere"), folder / "tree" / "link");
  EXPECT_NO_THROW(files.sync(folder / "tree", Extent::item));
  EXPECT_NO_THROW(files.sync(folder / "tree" / "a" / "file", Extent::item));
  EXPECT_NO_THROW(files.sync(folder / "tree", Extent::tree));
  EXPECT_THAT([&] { files.sync(folder / "missing", Extent::item); }, failsWith(std::errc::no_such_file_or_directory));
}

}  // namespace
}  // namespace brindlewick
