#include <gmock/gmock.h>

#include <filesystem>

#include "install/UpdateInstallError.h"
#include "install/UpdateInstaller.h"
#include "staging/VerifiedArtifactStager.h"
#include "support/Fails.h"
#include "support/InstallWorld.h"
#include "support/SignedFeed.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;
using ::testing::Each;
using ::testing::ElementsAre;
using testing::errorOf;
using testing::failedRun;
using testing::fails;
using testing::InstallWorld;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using testing::printed;
using ::testing::SizeIs;

TEST(UpdateInstallerPrepare, leavesBundleAndReceiptInAPrivateDirectory) {
  InstallWorld world;
  const auto prepared = world.prepare();
  EXPECT_EQ(prepared.directoryURL.parent(), world.staged);
  EXPECT_THAT(std::string(prepared.directoryURL.lastComponent()),
              MatchesRegex("InstallPreparation-[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_EQ(prepared.applicationURL, prepared.directoryURL / "Brindlewick.app");
  EXPECT_EQ(prepared.receiptURL, prepared.directoryURL / "install-preparation.json");
  EXPECT_EQ(prepared.version, "2.4.0");
  EXPECT_EQ(prepared.build, 118);
  EXPECT_THAT(world.disk.list(prepared.directoryURL), ElementsAre("Brindlewick.app", "install-preparation.json"));
  EXPECT_EQ(testing::permissionsOf(prepared.directoryURL), 0700U);
  EXPECT_EQ(testing::permissionsOf(prepared.receiptURL), 0600U);
}

TEST(UpdateInstallerPrepare, writesTheReceiptCanonically) {
  InstallWorld world;
  const auto hash =
      StagedUpdateReceipt::decode(asBytes(testing::readFile(world.staged / "receipt.json")))->artifactSHA256;
  EXPECT_EQ(testing::readFile(world.prepare().receiptURL),
            R"({"applicationIdentifier":"com.brindlewick.app","artifactSHA256":")" + hash +
                R"(","build":118,"candidateDirectoryName":"Brindlewick.app","schemaVersion":1,"version":"2.4.0"})");
}

TEST(UpdateInstallerPrepare, onlyReadsTheInstalledApplicationAndTheStagedUpdate) {
  InstallWorld world;
  const auto before = testing::listing(world.installed.parent());
  const auto prepared = world.prepare();
  EXPECT_EQ(testing::listing(world.installed.parent()), before);
  world.disk.removeTree(prepared.directoryURL);
  EXPECT_THAT(world.disk.list(world.staged), ElementsAre("BrindlewickUpdate.zip", "receipt.json"));
}

TEST(UpdateInstallerPrepare, goesThroughItsStepsInOrder) {
  InstallWorld world;
  static_cast<void>(world.prepare());
  const std::string staged = "~/staging/2.4.0-118-UUID";
  const std::string preparation = staged + "/InstallPreparation-UUID";
  EXPECT_THAT(
      world.log.events({"run", "code", "createDirectory", "list", "walk", "writeAtomically"}),
      ElementsAre("code ~/Applications/Brindlewick.app",
                  "run /usr/bin/lipo -archs ~/Applications/Brindlewick.app/Contents/MacOS/Brindlewick",
                  "run /usr/bin/zipinfo -1 " + staged + "/BrindlewickUpdate.zip",
                  "run /usr/bin/zipinfo -l " + staged + "/BrindlewickUpdate.zip", "createDirectory " + preparation,
                  "run /usr/bin/ditto -x -k " + staged + "/BrindlewickUpdate.zip " + preparation, "list " + preparation,
                  "walk " + preparation + "/Brindlewick.app", "code " + preparation + "/Brindlewick.app",
                  "run /usr/bin/lipo -archs " + preparation + "/Brindlewick.app/Contents/MacOS/Brindlewick",
                  "run /usr/sbin/spctl --assess --type execute --verbose=2 " + preparation + "/Brindlewick.app",
                  "writeAtomically " + preparation + "/install-preparation.json"));
  EXPECT_EQ(world.processes.limitOf("/usr/bin/ditto"), 1'048'576U);
}

TEST(UpdateInstallerPrepare, makesANewDirectoryEachTime) {
  InstallWorld world;
  const auto first = world.prepare();
  const auto before = testing::listing(first.directoryURL);
  const auto second = world.prepare();
  EXPECT_NE(first.directoryURL, second.directoryURL);
  EXPECT_THAT(world.preparationDirectories(), SizeIs(2));
  EXPECT_EQ(testing::listing(first.directoryURL), before);
}

TEST(UpdateInstallerPrepare, refusesAnUpdateThatIsNotNewerBeforeAnythingIsListed) {
  for (const char* version : {"2.4.1", "3.0.0"}) {
    InstallWorld world;
    world.runningVersion = version;
    EXPECT_THAT([&] { static_cast<void>(world.prepare()); }, fails(wrongReleaseVersion));
    EXPECT_THAT(world.log.events({"run"}), IsEmpty());
    EXPECT_THAT(world.preparationDirectories(), IsEmpty());
  }
}

/// One step that fails in one way.
struct Failing {
  const char* name;
  std::string expected;
  std::function<void(InstallWorld&)> spoil;
};

std::string sentence(UpdateInstallError error) { return std::string(describe(error)); }
std::string system(std::errc code) { return "system: " + std::make_error_code(code).message(); }

/// Every step, in the order in which they come.
const std::vector<Failing>& failingSteps() {
  using std::errc;
  static const std::vector<Failing> all{
      {"archiveAltered", std::string(describe(UpdateSecurityError::artifactHashMismatch)),
       [](auto& w) { testing::writeFile(w.staged / "BrindlewickUpdate.zip", "Archive", 0600); }},
      {"notNewer", sentence(wrongReleaseVersion), [](auto& w) { w.runningVersion = "2.5.0"; }},
      {"installedUnsigned", sentence(invalidCodeSignature),
       [](auto& w) { w.disk.removeTree(w.installed / "Contents/_CodeSignature"); }},
      {"names", sentence(unsafeArchive), [](auto& w) { w.names += "__MACOSX/\n"; }},
      {"attributes", sentence(unsafeArchive), [](auto& w) { w.attributes += "lrwxr-xr-x  3.0 unx\n"; }},
      {"createDirectory", system(errc::no_space_on_device),
       [](auto& w) { w.files.fail("createDirectory", 1, errc::no_space_on_device); }},
      {"ditto", sentence(invalidApplicationBundle),
       [](auto& w) { w.processes.script("/usr/bin/ditto", [](auto&) { return failedRun(); }); }},
      {"extraItem", sentence(invalidApplicationBundle),
       [](auto& w) { w.afterExpansion = [](auto& folder) { testing::writeFile(folder / "evil", ""); }; }},
      {"walk", system(errc::io_error), [](auto& w) { w.files.fail("walk", 1, errc::io_error); }},
      {"candidateVersion", sentence(wrongReleaseVersion),
       [](auto& w) { w.update.properties["CFBundleShortVersionString"] = "string 2.4"; }},
      {"candidateTeam", sentence(wrongSigningTeam),
       [](auto& w) { w.update.seal = "valid developerID team OTHERTEAM9"; }},
      {"gatekeeper", sentence(gatekeeperRejected),
       [](auto& w) { w.processes.script("/usr/sbin/spctl", [](auto&) { return failedRun(); }); }},
      {"receipt", system(errc::no_space_on_device),
       [](auto& w) { w.files.fail("writeAtomically", 1, errc::no_space_on_device); }},
  };
  return all;
}

const std::vector<Failing>& furtherFailures() {
  using std::errc;
  static const std::vector<Failing> all{
      {"noStagedDirectory", std::string(describe(UpdateSecurityError::unsafeStagingDirectory)),
       [](auto& w) { w.disk.removeTree(w.staged); }},
      {"installedIdentifier", sentence(wrongApplicationIdentity),
       [](auto& w) {
         testing::TestBundle other("2.3.0", 100);
         other.properties["CFBundleIdentifier"] = "string com.example.other";
         other.write(w.installed);
       }},
      {"installedThin", sentence(unsupportedArchitecture),
       [](auto& w) { testing::writeFile(w.installed / "Contents/MacOS/Brindlewick", "arm64", 0755); }},
      {"noInstalled", sentence(invalidApplicationBundle), [](auto& w) { w.disk.removeTree(w.installed); }},
      {"dittoNotThere", system(errc::no_such_file_or_directory),
       [](auto& w) {
         w.processes.script("/usr/bin/ditto", [](auto&) -> ToolRun { testing::failToStart("/usr/bin/ditto"); });
       }},
      {"dittoTalksTooMuch", sentence(invalidApplicationBundle),
       [](auto& w) {
         w.processes.script("/usr/bin/ditto", [](auto&) { return printed(std::string(1'048'577, 'x')); });
       }},
      {"dittoMakesNothing", sentence(invalidApplicationBundle),
       [](auto& w) { w.processes.script("/usr/bin/ditto", [](auto&) { return printed(""); }); }},
      {"dittoStopsHalfWay", sentence(invalidApplicationBundle),
       [](auto& w) {
         w.processes.script("/usr/bin/ditto", [](auto& arguments) {
           testing::writeFile(Path(arguments[3]) / "Brindlewick.app/Contents/half", "");
           return failedRun();
         });
       }},
      {"link", sentence(unsafeArchive),
       [](auto& w) {
         w.afterExpansion = [](auto& folder) {
           std::filesystem::create_symlink("/etc", (folder / "Brindlewick.app/Contents/link").string());
         };
       }},
      {"bundleIsALink", sentence(invalidApplicationBundle),
       [](auto& w) {
         w.afterExpansion = [&w](auto& folder) {
           w.disk.removeTree(folder / "Brindlewick.app");
           std::filesystem::create_symlink(w.installed.string(), (folder / "Brindlewick.app").string());
         };
       }},
      {"candidateIdentifier", sentence(wrongApplicationIdentity),
       [](auto& w) { w.update.properties["CFBundleIdentifier"] = "string com.example.other"; }},
      {"candidateBuild", sentence(wrongReleaseVersion),
       [](auto& w) { w.update.properties["CFBundleVersion"] = "string 119"; }},
      {"candidateUnsigned", sentence(invalidCodeSignature), [](auto& w) { w.update.seal = "team TEAM123456"; }},
      {"candidateThin", sentence(unsupportedArchitecture), [](auto& w) { w.update.architectures = "arm64"; }},
  };
  return all;
}

TEST(UpdateInstallerPrepareFails, withTheErrorOfTheStepAndLeavesTheDiskAsItWas) {
  for (const auto* table : {&failingSteps(), &furtherFailures()})
    for (const auto& failing : *table) {
      InstallWorld world;
      failing.spoil(world);
      const auto before = world.everything();
      EXPECT_EQ(errorOf([&] { static_cast<void>(world.prepare()); }), failing.expected) << failing.name;
      EXPECT_EQ(world.everything(), before) << failing.name;
    }
}

TEST(UpdateInstallerPrepareFails, withTheErrorOfTheEarlierOfTwoSteps) {
  const auto& steps = failingSteps();
  for (std::size_t first = 0; first < steps.size(); ++first)
    for (std::size_t second = first + 1; second < steps.size(); ++second) {
      InstallWorld world;
      steps[second].spoil(world);
      steps[first].spoil(world);
      EXPECT_EQ(errorOf([&] { static_cast<void>(world.prepare()); }), steps[first].expected)
          << steps[first].name << " and " << steps[second].name;
    }
}

TEST(UpdateInstallerPrepareFails, withTheFirstErrorEvenIfTheCleanUpFailsToo) {
  InstallWorld world;
  world.update.seal = "valid developerID team OTHERTEAM9";
  world.files.fail("removeTree", 1, std::errc::io_error);
  EXPECT_THAT([&] { static_cast<void>(world.prepare()); }, fails(wrongSigningTeam));
  EXPECT_THAT(world.preparationDirectories(), SizeIs(1));
}

TEST(UpdateInstallerPrepareFails, asAnInterruptionWhereverOneIsNoticed) {
  const auto interruption = "system: " + std::make_error_code(std::errc::interrupted).message();
  for (int call = 1;; ++call) {
    InstallWorld world;
    const auto before = world.everything();
    world.files.fail("any", call, std::errc::interrupted);
    const auto error = errorOf([&] { static_cast<void>(world.prepare()); });
    if (world.files.hit().empty()) {
      EXPECT_GT(call, 20);  // or the sweep has swept nothing
      return;
    }
    EXPECT_EQ(error, interruption) << call << " " << world.files.hit();
    EXPECT_EQ(world.everything(), before) << call << " " << world.files.hit();
  }
}

TEST(UpdateInstallerPrepareFails, cleanlyAtEveryCallToTheFileSystem) {
  for (int call = 1;; ++call) {
    InstallWorld world;
    const auto before = world.everything();
    world.files.fail("any", call, std::errc::io_error);
    const auto error = errorOf([&] { static_cast<void>(world.prepare()); });
    if (world.files.hit().empty()) {
      EXPECT_EQ(error, "");
      EXPECT_GT(call, 20);  // or the sweep has swept nothing
      return;
    }
    EXPECT_NE(error, "") << call << " " << world.files.hit();
    EXPECT_EQ(world.everything(), before) << call << " " << world.files.hit();
  }
}

}  // namespace
}  // namespace brindlewick
