#include "platform/posix/Renaming.h"

#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>

#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/OwnProcess.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using ::testing::ElementsAre;
using testing::exists;
using testing::failsWith;
using testing::readFile;
using testing::withFailingCall;
using testing::writeFile;

/// What file systems and kernels answer that have no rename with conditions.
constexpr int unsupported[] = {EINVAL, ENOSYS, ENOTSUP, EOPNOTSUPP};

struct RenamingTest : ::testing::Test {
  testing::TemporaryFolder folder;
  PosixFileSystem files;
};

TEST_F(RenamingTest, movesWhereNoFileSystemCanRefuseToReplace) {
  for (const int code : unsupported)
    withFailingCall(SYS_renameat2, code, [&] {
      writeFile(folder / "from" / "file", "moved");
      files.move(folder / "from", folder / "to");
      EXPECT_EQ(readFile(folder / "to" / "file"), "moved");
      files.removeTree(folder / "to");
      EXPECT_TRUE(files.list(folder.path()).empty());
    });
}

TEST_F(RenamingTest, replacesNothingThatItFindsThereEither) {
  writeFile(folder / "from", "from");
  writeFile(folder / "file", "kept");
  std::filesystem::create_directory((folder / "empty").string());
  std::filesystem::create_symlink("nowhere", (folder / "link").string());
  const auto before = testing::listing(folder.path());
  for (const int code : unsupported)
    withFailingCall(SYS_renameat2, code, [&] {
      for (const char* target : {"file", "empty", "link", "from"})
        EXPECT_THAT([&] { files.move(folder / "from", folder / target); }, failsWith(std::errc::file_exists)) << target;
      EXPECT_THAT([&] { files.move(folder / "missing", folder / "free"); },
                  failsWith(std::errc::no_such_file_or_directory));
      EXPECT_THAT([&] { files.move(folder / "from", folder / "missing" / "free"); },
                  failsWith(std::errc::no_such_file_or_directory));
    });
  EXPECT_EQ(testing::listing(folder.path()), before);
}

TEST_F(RenamingTest, takesNoOtherFailureForAMissingCall) {
  writeFile(folder / "from", "from");
  for (const int code : {EACCES, EPERM, EIO, ENOSPC, EROFS, EBUSY, EDQUOT})
    withFailingCall(SYS_renameat2, code, [&] {
      EXPECT_THAT([&] { files.move(folder / "from", folder / "to"); }, failsWith(static_cast<std::errc>(code)));
    });
  EXPECT_THAT(files.list(folder.path()), ElementsAre("from"));
}

TEST_F(RenamingTest, movesAFileToAnotherFileSystemThatCannotRefuseToReplace) {
  const Path elsewhere("/dev/shm/brindlewick-rename-" + std::to_string(::getpid()));
  writeFile(elsewhere, "content", 0600);
  withFailingCall(SYS_renameat2, EINVAL, [&] { files.move(elsewhere, folder / "moved"); });
  EXPECT_FALSE(exists(elsewhere));
  EXPECT_EQ(readFile(folder / "moved"), "content");
}

}  // namespace
}  // namespace brindlewick
