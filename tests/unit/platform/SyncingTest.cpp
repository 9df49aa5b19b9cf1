#include <gmock/gmock.h>
#include <sys/syscall.h>

#include <filesystem>

#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/OwnProcess.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using ::testing::ElementsAre;
using testing::failsWith;
using testing::readFile;
using testing::withFailingCall;
using testing::writeFile;

/// What file systems answer that cannot sync their directories.
constexpr int unsupported[] = {EINVAL, ENOSYS, ENOTSUP};

struct SyncingTest : ::testing::Test {
  testing::TemporaryFolder folder;
  PosixFileSystem files;
};

TEST_F(SyncingTest, doesNotAskOfDirectoriesWhatTheirFileSystemCannotDo) {
  std::filesystem::create_directories((folder / "tree" / "inner").string());
  for (const int code : unsupported)
    withFailingCall(SYS_fsync, code, [&] {
      EXPECT_NO_THROW(files.sync(folder / "tree", Extent::item));
      EXPECT_NO_THROW(files.sync(folder / "tree", Extent::tree));
    });
}

TEST_F(SyncingTest, takesNoOtherFailureForThat) {
  std::filesystem::create_directories((folder / "tree" / "inner").string());
  for (const int code : {EIO, ENOSPC, EDQUOT})
    withFailingCall(SYS_fsync, code, [&] {
      for (const auto extent : {Extent::item, Extent::tree})
        EXPECT_THAT([&] { files.sync(folder / "tree", extent); }, failsWith(static_cast<std::errc>(code)));
    });
}

TEST_F(SyncingTest, asksItOfEveryFile) {
  writeFile(folder / "tree" / "file", "x");
  for (const int code : {EIO, EINVAL})
    withFailingCall(SYS_fsync, code, [&] {
      EXPECT_THROW(files.sync(folder / "tree" / "file", Extent::item), PlatformError);
      EXPECT_THROW(files.sync(folder / "tree", Extent::tree), PlatformError);
    });
}

}  // namespace
}  // namespace brindlewick
