#include "platform/posix/TreeTraversal.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/SystemCalls.h"
#include "support/Fails.h"
#include "support/OwnProcess.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using ::testing::ElementsAre;
using testing::failsWith;
using testing::nestFolders;
using testing::readFile;
using testing::withDescriptors;
using testing::writeFile;

/// Writes down what it is asked, and goes into every directory.
class Recorder : public posix::TreeVisitor {
 public:
  [[nodiscard]] bool meet(int folder, const std::string& name) override {
    events.push_back("meet " + name);
    struct stat status {};
    return ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
  }
  void leave(int /*folder*/, const std::string& name, int /*directory*/) override { events.push_back("leave " + name); }

  std::vector<std::string> events;
};

class TreeTraversalTest : public ::testing::Test {
 protected:
  void visit(posix::TreeVisitor& visitor) {
    posix::visitTree(posix::openDirectory(AT_FDCWD, folder.path().c_str()).get(), "tree", visitor);
  }

  testing::TemporaryFolder folder;
  PosixFileSystem files;
  Path tree = folder / "tree";
};

TEST_F(TreeTraversalTest, meetsEveryItemInOrderAndLeavesEachDirectoryAfterItsContents) {
  writeFile(tree / "b" / "file", "x");
  writeFile(tree / "a" / "deep" / "file", "x");
  std::filesystem::create_directory_symlink(tree.string(), (tree / "link").string());
  Recorder recorder;
  visit(recorder);
  EXPECT_THAT(recorder.events, ElementsAre("meet tree", "meet a", "meet deep", "meet file", "leave deep", "leave a",
                                           "meet b", "meet file", "leave b", "meet link", "leave tree"));
}

TEST_F(TreeTraversalTest, goesNowhereElseWhenAFolderIsMovedAwayWhileItIsBelow) {
  struct Mover : Recorder {
    [[nodiscard]] bool meet(int at, const std::string& name) override {
      if (name == "file") std::filesystem::rename(from.string(), to.string());
      return Recorder::meet(at, name);
    }
    Path from, to;
  };
  writeFile(tree / "a" / "b" / "file", "x");
  writeFile(tree / "a" / "c", "x");
  writeFile(folder / "outside" / "c", "alive");
  Mover mover;
  mover.from = tree / "a" / "b";
  mover.to = folder / "outside" / "b";
  EXPECT_THAT([&] { visit(mover); }, failsWith(std::errc::no_such_file_or_directory));
  EXPECT_THAT(mover.events, ElementsAre("meet tree", "meet a", "meet b", "meet file"));
}

TEST_F(TreeTraversalTest, walksCopiesAndSyncsWithFewDescriptorsHoweverDeepTheTreeIs) {
  nestFolders(tree, 300);
  withDescriptors(10, [&] {
    EXPECT_EQ(files.walk(tree).size(), 600U);
    files.copyTree(tree, folder / "copy");
    files.sync(folder / "copy", Extent::tree);
    EXPECT_EQ(files.walk(folder / "copy").size(), 600U);
  });
}

TEST_F(TreeTraversalTest, refusesToWalkDeeperThanAPathCanName) {
  nestFolders(tree, 2'100);
  EXPECT_THAT([&] { static_cast<void>(files.walk(tree)); }, failsWith(std::errc::filename_too_long));
  files.removeTree(tree);  // which the end of the test could not
}

TEST_F(TreeTraversalTest, copiesUnderAUmaskThatTakesEveryRightAway) {
  writeFile(tree / "a" / "file", "x", 0755);
  const auto before = testing::listing(tree);
  testing::asOrdinaryUser(folder.path(), [&] {
    ::umask(0777);
    files.copyTree(tree, folder / "copy");
    files.writeAtomically(folder / "written", asBytes("x"), 0600);
    EXPECT_EQ(files.createTemporaryDirectory(folder / "staging").parent(), folder.path());
  });
  EXPECT_EQ(testing::listing(folder / "copy"), before);
  EXPECT_EQ(readFile(folder / "written"), "x");
}

}  // namespace
}  // namespace brindlewick
