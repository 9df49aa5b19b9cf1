#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include "platform/posix/Interruption.h"
#include "support/Fails.h"
#include "support/FaultyFileSystem.h"
#include "trust/UpdateSecurityError.h"
#include "unit/staging/StagingWorld.h"

namespace brindlewick {
namespace {

using enum UpdateSecurityError;
using testing::fails;
using ::testing::IsEmpty;
using testing::StagingWorld;
using testing::writeFile;

/// A file system in which something happens to the archive just after its move into the candidate directory.
struct Exchange {
  const char* name;
  UpdateSecurityError expected;
  std::function<void(StagingWorld&, const Path& archive)> spoil;
};

const Exchange exchanges[] = {
    {"otherContentOfTheSameLength", artifactHashMismatch,
     [](auto&, auto& archive) { writeFile(archive, "Archive", 0600); }},
    {"longer", artifactHashMismatch, [](auto&, auto& archive) { writeFile(archive, "archive2", 0600); }},
    {"empty", artifactHashMismatch, [](auto&, auto& archive) { writeFile(archive, "", 0600); }},
    {"aDirectory", unsafeStagingDirectory,
     [](auto& world, auto& archive) {
       world.files.removeTree(archive);
       world.files.createDirectory(archive, 0700);
     }},
};

TEST(StagingBetweenItsHashes, noticesAnArchiveThatIsExchangedAfterTheMove) {
  for (const auto& exchange : exchanges) {
    StagingWorld world;
    testing::EventLog log(world.folder.path().string());
    testing::FaultyFileSystem files(world.files, log);
    files.runAfter("move", 1, [&] {
      exchange.spoil(world, world.staging / world.candidates().front() / "BrindlewickUpdate.zip");
    });
    EXPECT_THAT(
        [&] { static_cast<void>(VerifiedArtifactStager::stage(files, world.download, world.update, world.staging)); },
        fails(exchange.expected))
        << exchange.name;
    EXPECT_THAT(world.candidates(), IsEmpty()) << exchange.name;
  }
}

TEST(StagingBetweenItsHashes, takesNoLinkToTheRightContent) {
  StagingWorld world;
  testing::EventLog log(world.folder.path().string());
  testing::FaultyFileSystem files(world.files, log);
  writeFile(world.folder / "elsewhere.zip", "archive", 0600);
  // After the mode was set: setting it refuses the link already.
  files.runAfter("setPermissions", 2, [&] {
    const auto archive = world.staging / world.candidates().front() / "BrindlewickUpdate.zip";
    world.files.removeTree(archive);
    std::filesystem::create_symlink((world.folder / "elsewhere.zip").string(), archive.string());
  });
  EXPECT_THAT(
      [&] { static_cast<void>(VerifiedArtifactStager::stage(files, world.download, world.update, world.staging)); },
      fails(unsafeStagingDirectory));
  EXPECT_THAT(world.candidates(), IsEmpty());
}

enum class End { staged, interrupted, wrong };

/// Stages in a process of its own that is told to end just before one call to the disk.
End stageWithASignalBefore(int call) {
  StagingWorld world;
  const auto process = ::fork();
  if (process == 0) {
    catchInterruptions();
    testing::EventLog log(world.folder.path().string());
    testing::FaultyFileSystem files(world.files, log);
    files.runBefore("any", call, [] { ::raise(SIGTERM); });
    auto end = End::wrong;
    try {
      static_cast<void>(VerifiedArtifactStager::stage(files, world.download, world.update, world.staging));
      if (world.candidates().size() == 1) end = End::staged;
    } catch (const PlatformError& error) {
      if (error.isInterruption() && world.candidates().empty()) end = End::interrupted;
    }
    ::_exit(static_cast<int>(end));
  }
  int status = -1;
  ::waitpid(process, &status, 0);
  return WIFEXITED(status) ? static_cast<End>(WEXITSTATUS(status)) : End::wrong;
}

TEST(StagingBetweenItsHashes, endsWithTheWholeOrNothingWheneverItIsToldToEnd) {
  std::vector<End> ends;
  // Until the call is beyond the last read, from where on there is nothing left to be interrupted.
  while (ends.empty() || ends.back() == End::interrupted) {
    ends.push_back(stageWithASignalBefore(static_cast<int>(ends.size()) + 1));
    ASSERT_LT(ends.size(), 100U);
  }
  EXPECT_EQ(ends.back(), End::staged);
  EXPECT_GT(ends.size(), 10U) << "the second hash, after the move, is interrupted too";
}

}  // namespace
}  // namespace brindlewick
