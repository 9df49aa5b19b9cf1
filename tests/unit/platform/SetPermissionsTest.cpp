#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "platform/posix/PosixFileSystem.h"
#include "support/Fails.h"
#include "support/HiddenFolder.h"
#include "support/SystemCallFilter.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::permissionsOf;

/// The call that changes the mode of a link itself, by its number: the library of Debian 12 does not know it yet.
constexpr long fchmodat2 = 452;

/// What a system may lack.
struct System {
  const char* name;
  bool hasProc;
  bool hasNewCall;
};

constexpr System systems[] = {{"complete", true, true},
                              {"withoutTheNewCall", true, false},
                              {"withoutProc", false, true},
                              {"withNeither", false, false}};

/// Runs an action as an ordinary user on such a system, in a process of its own.
void runOn(const System& system, const std::function<void()>& action) {
  const auto process = ::fork();
  if (process == 0) {
    testing::becomeOrdinary();
    if (!system.hasProc) testing::hideFolder("/proc");
    if (!system.hasNewCall) testing::failSystemCall(fchmodat2, ENOSYS);
    try {
      action();
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ::waitpid(process, &status, 0);
  EXPECT_EQ(status, 0) << system.name;
}

class SetPermissionsTest : public ::testing::Test {
 protected:
  testing::TemporaryFolder folder;
  PosixFileSystem files;

  /// A file, a directory and a pipe with this mode.
  std::vector<Path> makeItems(unsigned mode) {
    std::vector<Path> items{folder / "file", folder / "directory", folder / "pipe"};
    testing::writeFile(items[0], "");
    files.createDirectory(items[1], 0700);
    EXPECT_EQ(::mkfifo(items[2].c_str(), 0600), 0);
    for (const auto& item : items) EXPECT_EQ(::chmod(item.c_str(), mode), 0);
    return items;
  }
};

TEST_F(SetPermissionsTest, reachesWhatItMayReadOnEverySystem) {
  const auto items = makeItems(0644);
  for (const auto& system : systems)
    runOn(system, [&] {
      for (const auto& item : items)
        for (const unsigned mode : {07755U, 0600U, 0644U}) {
          files.setPermissions(item, mode);
          EXPECT_EQ(permissionsOf(item), mode) << item.string();
        }
    });
}

TEST_F(SetPermissionsTest, reachesWhatItMayNotReadWhereTheSystemHasAWay) {
  const auto items = makeItems(0);
  for (const auto& system : systems)
    runOn(system, [&] {
      for (const auto& item : items) {
        const auto set = [&] { files.setPermissions(item, 0700); };
        if (system.hasProc || system.hasNewCall) {
          set();
          EXPECT_EQ(permissionsOf(item), 0700U) << item.string();
          files.setPermissions(item, 0);
        } else {
          EXPECT_THROW(set(), PlatformError) << item.string();
          EXPECT_EQ(permissionsOf(item), 0U) << item.string();
        }
      }
    });
}

TEST_F(SetPermissionsTest, refusesALinkOnEverySystem) {
  testing::writeFile(folder / "file", "", 0644);
  std::filesystem::create_symlink("file", (folder / "link").string());
  for (const auto& system : systems)
    runOn(system, [&] {
      EXPECT_THAT([&] { files.setPermissions(folder / "link", 0777); },
                  testing::failsWith(std::errc::too_many_symbolic_link_levels));
      EXPECT_EQ(permissionsOf(folder / "file"), 0644U);
    });
}

}  // namespace
}  // namespace brindlewick
