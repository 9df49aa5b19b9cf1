#include "frontend/InstallResultRecord.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "platform/posix/PosixFileSystem.h"
#include "support/EventLog.h"
#include "support/Fails.h"
#include "support/FaultyFileSystem.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using namespace std::chrono;
using testing::permissionsOf;
using testing::readFile;

InstallResultRecord record() {
  return {.succeeded = true,
          .message = "Brindlewick was updated successfully.",
          .completedAt = sys_days(2026y / November / 21) + 250ms};
}

std::string encoded(const InstallResultRecord& record) { return std::string(asText(record.encode().value())); }

struct RecordWorld {
  testing::TemporaryFolder folder;
  testing::EventLog log{folder.path().string()};
  PosixFileSystem disk;
  testing::FaultyFileSystem files{disk, log};
  Path file = folder / "staging/last-install-result.json";
};

TEST(InstallResultRecord, hasItsThreeKeysInOrder) {
  EXPECT_EQ(encoded(record()),
            R"({"completedAt":816912000.25,"message":"Brindlewick was updated successfully.","succeeded":true})");
}

TEST(InstallResultRecord, countsSecondsFromTheStartOf2001) {
  auto early = record();
  early.completedAt = sys_days(2001y / January / 1) + 1s + 1us;
  EXPECT_EQ(encoded(early),
            R"({"completedAt":1.000001,"message":"Brindlewick was updated successfully.","succeeded":true})");
}

TEST(InstallResultRecord, holdsVersionAndBuildWhenTheyAreKnown) {
  auto full = record();
  full.succeeded = false;
  full.message = "a/b";
  full.version = "2.4.0";
  full.build = 118;
  EXPECT_EQ(encoded(full),
            R"({"build":118,"completedAt":816912000.25,"message":"a/b","succeeded":false,"version":"2.4.0"})");
}

TEST(InstallResultRecord, isWrittenPrivatelyIntoAMissingFolderUnderAnyUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{077}, mode_t{0777}}) {
    RecordWorld world;
    world.file = world.folder / "a/b/last-install-result.json";
    const auto before = ::umask(mask);
    record().write(world.files, world.file);
    ::umask(before);
    EXPECT_EQ(permissionsOf(world.folder / "a"), 0700U);
    EXPECT_EQ(permissionsOf(world.folder / "a/b"), 0700U);
    EXPECT_EQ(permissionsOf(world.file), 0600U);
    EXPECT_EQ(readFile(world.file), encoded(record()));
  }
}

TEST(InstallResultRecord, replacesAnEarlierRecordWhole) {
  RecordWorld world;
  testing::writeFile(world.file, std::string(100'000, 'x'), 0644);
  record().write(world.files, world.file);
  EXPECT_EQ(readFile(world.file), encoded(record()));
  EXPECT_EQ(permissionsOf(world.file), 0600U);
  EXPECT_EQ(world.disk.list(world.file.parent()), std::vector<std::string>{"last-install-result.json"});
}

TEST(InstallResultRecord, passesOnWhatTheDiskRefusesAndKeepsTheEarlierRecord) {
  for (const char* operation : {"createDirectories", "writeAtomically"}) {
    RecordWorld world;
    testing::writeFile(world.file, "earlier");
    world.files.fail(operation, 1, std::errc::no_space_on_device);
    EXPECT_THAT([&] { record().write(world.files, world.file); }, testing::failsWith(std::errc::no_space_on_device));
    EXPECT_EQ(readFile(world.file), "earlier");
  }
}

}  // namespace
}  // namespace brindlewick
