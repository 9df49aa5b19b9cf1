#include "install/ExpandedTree.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "install/UpdateInstallError.h"
#include "platform/posix/PosixFileSystem.h"
#include "support/EventLog.h"
#include "support/Fails.h"
#include "support/FaultyFileSystem.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;
using testing::fails;

struct Expansion {
  testing::TemporaryFolder folder;
  testing::EventLog log{folder.path().string()};
  PosixFileSystem disk;
  testing::FaultyFileSystem files{disk, log};
  Path candidate = folder / "Brindlewick.app";

  Expansion() { testing::writeFile(candidate / "Contents/MacOS/Brindlewick", ""); }
  void check() { ExpandedTree::check(files, folder.path(), candidate); }
  void link(const Path& at) { std::filesystem::create_symlink("/nowhere", at.string()); }
};

TEST(ExpandedTree, acceptsOneBundleWithoutLinks) {
  Expansion expansion;
  EXPECT_NO_THROW(expansion.check());
}

TEST(ExpandedTree, refusesAnyOtherContentThanTheCandidate) {
  Expansion extra;
  testing::writeFile(extra.folder / ".hidden", "");
  EXPECT_THAT([&] { extra.check(); }, fails(invalidApplicationBundle));

  Expansion renamed;
  renamed.disk.move(renamed.candidate, renamed.folder / "Other.app");
  EXPECT_THAT([&] { renamed.check(); }, fails(invalidApplicationBundle));

  Expansion empty;
  empty.disk.removeTree(empty.candidate);
  EXPECT_THAT([&] { empty.check(); }, fails(invalidApplicationBundle));
}

TEST(ExpandedTree, refusesACandidateThatIsNoDirectory) {
  Expansion file;
  file.disk.removeTree(file.candidate);
  testing::writeFile(file.candidate, "");
  EXPECT_THAT([&] { file.check(); }, fails(invalidApplicationBundle));

  Expansion link;
  link.disk.removeTree(link.candidate);
  link.link(link.candidate);
  EXPECT_THAT([&] { link.check(); }, fails(invalidApplicationBundle));
}

TEST(ExpandedTree, refusesALinkAtAnyDepth) {
  for (const char* place : {"link", "Contents/link", "Contents/MacOS/link"}) {
    Expansion expansion;
    expansion.link(expansion.candidate / place);
    EXPECT_THAT([&] { expansion.check(); }, fails(unsafeArchive)) << place;
  }
}

TEST(ExpandedTree, passesOnWhatTheDiskRefuses) {
  for (const char* operation : {"list", "attributes", "walk"}) {
    Expansion expansion;
    expansion.files.fail(operation, 1, std::errc::io_error);
    EXPECT_THAT([&] { expansion.check(); }, testing::failsWith(std::errc::io_error)) << operation;
  }
}

}  // namespace
}  // namespace brindlewick
