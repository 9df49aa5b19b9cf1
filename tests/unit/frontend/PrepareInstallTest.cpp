#include "frontend/PrepareInstall.h"

#include <gmock/gmock.h>

#include "install/UpdateInstallError.h"
#include "support/Fails.h"
#include "support/InstallWorld.h"
#include "support/SignedFeed.h"

namespace brindlewick {
namespace {

PrepareInstallCommand commandFor(const testing::InstallWorld& world) {
  return {.publicKeyBase64 = testing::publicKeyBase64(),
          .applicationIdentifier = std::string(testing::applicationIdentifier),
          .currentVersion = world.runningVersion,
          .currentBuild = 100,
          .stagedDirectory = world.staged,
          .installedApplication = world.installed};
}

TEST(PrepareInstall, answersWithWhatWasPrepared) {
  testing::InstallWorld world;
  const auto response = prepareInstall(world.tools(), commandFor(world));
  const auto directories = world.preparationDirectories();
  ASSERT_EQ(directories.size(), 1U);
  EXPECT_EQ(response, (InstallPreparationResponse{.outcome = "prepared",
                                                  .version = "2.4.0",
                                                  .build = 118,
                                                  .preparationDirectoryPath = (world.staged / directories[0]).string(),
                                                  .message = "The signed update is verified and ready to install."}));
}

TEST(PrepareInstall, passesOnWhatTheInstallerThrows) {
  testing::InstallWorld world;
  world.names = "Other.app/\n";
  EXPECT_THAT([&] { static_cast<void>(prepareInstall(world.tools(), commandFor(world))); },
              testing::fails(UpdateInstallError::unsafeArchive));
}

}  // namespace
}  // namespace brindlewick
