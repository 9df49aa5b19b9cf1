#include "frontend/ApplyInstall.h"

#include <gmock/gmock.h>

#include "install/UpdateInstallError.h"
#include "support/Fails.h"
#include "support/InstallWorld.h"
#include "support/SignedFeed.h"

namespace brindlewick {
namespace {

using std::errc;
using ::testing::ElementsAre;
using testing::errorOf;
using testing::readFile;

/// A prepared update, and "open" as a program that can be started.
struct Application : testing::InstallWorld {
  Path resultFile = staged.parent() / "last-install-result.json";

  Application() {
    prepared();
    clock.date = std::chrono::sys_days(std::chrono::year(2026) / 11 / 21);
    processes.script("/usr/bin/open", [](auto&) { return testing::printed(""); });
  }

  void applyInstall() {
    brindlewick::applyInstall(tools(), clock,
                              {.publicKeyBase64 = testing::publicKeyBase64(),
                               .applicationIdentifier = std::string(testing::applicationIdentifier),
                               .currentVersion = runningVersion,
                               .currentBuild = 100,
                               .stagedDirectory = staged,
                               .preparationDirectory = preparation,
                               .installedApplication = installed,
                               .parentProcessIdentifier = 4711,
                               .resultFile = resultFile});
  }

  [[nodiscard]] std::vector<std::string> relaunches() const { return log.events({"start"}); }
};

std::string recordOf(const char* succeeded, std::string_view message) {
  return R"({"completedAt":816912000.0,"message":")" + std::string(message) + R"(","succeeded":)" + succeeded + "}";
}

const char* const relaunch = "start /usr/bin/open -a ~/Applications/Brindlewick.app";

TEST(ApplyInstall, installsRecordsAndRelaunches) {
  Application world;
  world.applyInstall();
  EXPECT_EQ(world.installedVersion(), "2.4.0");
  EXPECT_EQ(readFile(world.resultFile), recordOf("true", "Brindlewick was updated successfully."));
  EXPECT_EQ(testing::permissionsOf(world.resultFile), 0600U);
  EXPECT_THAT(world.relaunches(), ElementsAre(relaunch));
  EXPECT_EQ(world.log.events().back(), relaunch);
}

TEST(ApplyInstall, leavesItsStartersSessionBeforeAnythingElse) {
  Application world;
  world.applyInstall();
  EXPECT_EQ(world.log.events().front(), "startOwnSession");
}

TEST(ApplyInstall, waitsForTheParent) {
  Application world;
  world.applyInstall();
  EXPECT_THAT(world.log.events({"hasEnded"}), ElementsAre("hasEnded 4711"));
}

TEST(ApplyInstall, recordsTheSentenceOfAFailureAndRelaunchesTheOldApplication) {
  Application world;
  world.files.fail("move", 2, errc::no_space_on_device);
  EXPECT_THAT([&] { world.applyInstall(); }, testing::fails(UpdateInstallError::replacementFailed));
  EXPECT_EQ(world.installedVersion(), "2.3.0");
  EXPECT_EQ(readFile(world.resultFile),
            recordOf("false", "The update could not replace the application; the previous version was restored."));
  EXPECT_THAT(world.relaunches(), ElementsAre(relaunch));
}

TEST(ApplyInstall, recordsAFixedSentenceForAFailureWithoutOne) {
  Application world;
  testing::writeFile(world.staged / "receipt.json", "{}", 0600);
  EXPECT_THAT([&] { world.applyInstall(); }, testing::failsWith(errc::illegal_byte_sequence));
  EXPECT_EQ(readFile(world.resultFile), recordOf("false", "The update was not installed."));
  EXPECT_THAT(world.relaunches(), ElementsAre(relaunch));
}

TEST(ApplyInstall, takesARecordOfSuccessThatCannotBeWrittenForAFailure) {
  Application world;
  world.files.fail("writeAtomically", 1, errc::no_space_on_device);
  EXPECT_THAT([&] { world.applyInstall(); }, testing::failsWith(errc::no_space_on_device));
  EXPECT_EQ(world.installedVersion(), "2.4.0");
  EXPECT_EQ(readFile(world.resultFile), recordOf("false", "The update was not installed."));
  EXPECT_THAT(world.relaunches(), ElementsAre(relaunch));
}

TEST(ApplyInstall, reportsTheInstallersErrorEvenIfItCannotBeRecorded) {
  Application world;
  world.processes.ended = [](std::int32_t) { return false; };
  world.files.fail("writeAtomically", 1, errc::no_space_on_device);
  EXPECT_THAT([&] { world.applyInstall(); }, testing::fails(UpdateInstallError::parentDidNotExit));
  EXPECT_FALSE(testing::exists(world.resultFile));
  EXPECT_THAT(world.relaunches(), ElementsAre(relaunch));
}

TEST(ApplyInstall, doesNotMindThatTheApplicationCannotBeRelaunched) {
  Application world;
  world.processes.script("/usr/bin/open", [](auto&) -> ToolRun { testing::failToStart("/usr/bin/open"); });
  world.applyInstall();
  EXPECT_EQ(world.installedVersion(), "2.4.0");

  Application failing;
  failing.processes.script("/usr/bin/open", [](auto&) -> ToolRun { testing::failToStart("/usr/bin/open"); });
  failing.files.denyWriting();
  EXPECT_THAT([&] { failing.applyInstall(); }, testing::fails(UpdateInstallError::destinationNotWritable));
}

TEST(ApplyInstall, recordsAndRelaunchesAtEveryCallToTheFileSystemThatFails) {
  for (int call = 1;; ++call) {
    Application world;
    world.files.fail("any", call, errc::io_error);
    const auto error = errorOf([&] { world.applyInstall(); });
    const auto& hit = world.files.hit();
    EXPECT_THAT(world.relaunches(), ElementsAre(relaunch)) << call << " " << hit;
    const bool saysSuccess = readFile(world.resultFile).ends_with(R"("succeeded":true})");
    EXPECT_EQ(saysSuccess, error.empty()) << call << " " << hit;
    if (hit.empty()) break;
  }
}

}  // namespace
}  // namespace brindlewick
