#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <stdio.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "platform/PlatformError.h"
#include "platform/ReadWhole.h"
#include "platform/posix/PosixFileSystem.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::readFile;
using testing::writeFile;

/// An attacker who exchanges two items in place as fast as the system allows, for as long as it lives.
class Exchanger {
 public:
  Exchanger(const Path& one, const Path& other)
      : thread_([this, one, other] {
          while (!stop_) {
            ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
            ++count_;
          }
        }) {}
  ~Exchanger() {
    stop_ = true;
    thread_.join();
  }
  Exchanger(const Exchanger&) = delete;
  Exchanger& operator=(const Exchanger&) = delete;

  [[nodiscard]] long count() const noexcept { return count_; }

 private:
  std::atomic<bool> stop_ = false;
  std::atomic<long> count_ = 0;
  std::thread thread_;
};

/// A tree with a folder in it, a link to a folder outside that stands ready to take the folder's place, and a canary.
struct RaceWorld {
  testing::TemporaryFolder folder;
  PosixFileSystem files;

  RaceWorld() { writeFile(folder / "outside" / "canary", "alive", 0600); }

  void buildTree() {
    std::filesystem::remove_all((folder / "tree").string());
    std::filesystem::remove_all((folder / "link").string());
    writeFile(folder / "tree" / "inner" / "file", "inside", 0644);
    std::filesystem::create_directory_symlink((folder / "outside").string(), (folder / "link").string());
  }
};

constexpr long exchanges = 100'000;

TEST(FileSystemUnderAttack, leavesNothingSetAsideInAFolderThatIsExchanged) {
  RaceWorld world;
  const auto empty = [&](const char* name) { std::filesystem::create_directory((world.folder / name).string()); };
  empty("one");
  empty("other");
  long count = 0;
  while (count < exchanges) {
    writeFile(world.folder / "one" / "tree" / "file", "inside");
    {
      const Exchanger attacker(world.folder / "one", world.folder / "other");
      while (attacker.count() < 50) std::this_thread::yield();
      EXPECT_NO_THROW(world.files.removeTree(world.folder / "one" / "tree"));
      count += attacker.count() + 500;
    }
    for (const char* name : {"one", "other"}) {
      const auto names = world.files.list(world.folder / name);
      // Removed, or not met, as the folder without it lay there.
      ASSERT_TRUE(names.empty() || names == std::vector<std::string>{"tree"}) << names.front();
      world.files.removeTree(world.folder / name / "tree");
    }
  }
}

TEST(FileSystemUnderAttack, removesNothingOutsideATree) {
  RaceWorld world;
  long count = 0;
  while (count < exchanges) {
    world.buildTree();
    const Exchanger attacker(world.folder / "tree" / "inner", world.folder / "link");
    const auto before = attacker.count();
    while (attacker.count() < before + 50) std::this_thread::yield();
    try {
      world.files.removeTree(world.folder / "tree");
    } catch (const PlatformError&) {
      // What is exchanged while it is removed may stay.
    }
    count += attacker.count() + 500;
    ASSERT_EQ(readFile(world.folder / "outside" / "canary"), "alive");
  }
}

TEST(FileSystemUnderAttack, copiesAndWalksNothingOutsideATree) {
  RaceWorld world;
  long count = 0;
  while (count < exchanges) {
    world.buildTree();
    const Exchanger attacker(world.folder / "tree" / "inner", world.folder / "link");
    for (int i = 0; i < 20; ++i) {
      try {
        world.files.copyTree(world.folder / "tree", world.folder / "copy");
        for (const auto& item : world.files.walk(world.folder / "tree")) ASSERT_NE(item.relativePath, "inner/canary");
      } catch (const PlatformError&) {
        // Refused is as good as not followed.
      }
      // A link may have been copied as the link that it was; a folder of that name must be the one inside.
      const auto inner = (world.folder / "copy" / "inner").string();
      const bool isFolder = std::filesystem::is_directory(std::filesystem::symlink_status(inner));
      ASSERT_FALSE(isFolder && testing::exists(Path(inner) / "canary"));
      std::filesystem::remove_all((world.folder / "copy").string());
    }
    count += attacker.count();
  }
}

TEST(FileSystemUnderAttack, readsWhatItChecked) {
  RaceWorld world;
  writeFile(world.folder / "file", "checked", 0600);
  std::filesystem::create_symlink((world.folder / "outside" / "canary").string(), (world.folder / "link").string());
  const Exchanger attacker(world.folder / "file", world.folder / "link");
  while (attacker.count() < exchanges) {
    const auto item = world.files.open(world.folder / "file", FinalLink::refused);
    if (item->attributes().kind != FileKind::regular) continue;
    try {
      ASSERT_EQ(asText(readWhole(*item, 100).value()), "checked");
    } catch (const PlatformError& error) {
      // The link was opened, and refused, before the file was back in its place.
      ASSERT_EQ(error.code(), std::errc::too_many_symbolic_link_levels);
    }
  }
}

TEST(FileSystemUnderAttack, setsNoPermissionsThroughALink) {
  RaceWorld world;
  writeFile(world.folder / "file", "ours", 0600);
  std::filesystem::create_symlink((world.folder / "outside" / "canary").string(), (world.folder / "link").string());
  const Exchanger attacker(world.folder / "file", world.folder / "link");
  while (attacker.count() < exchanges) {
    try {
      world.files.setPermissions(world.folder / "file", 0644);
    } catch (const PlatformError&) {
      // It was the link just then.
    }
    ASSERT_EQ(testing::permissionsOf(world.folder / "outside" / "canary"), 0600U);
  }
}

}  // namespace
}  // namespace brindlewick
