#include <gmock/gmock.h>

#include <filesystem>

#include "install/UpdateInstallError.h"
#include "install/UpdateInstaller.h"
#include "support/Fails.h"
#include "support/InstallWorld.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;
using std::errc;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing::errorOf;
using testing::failedRun;
using testing::fails;
using testing::InstallWorld;
using ::testing::IsEmpty;
using testing::printed;
using ::testing::SizeIs;

TEST(UpdateInstallerApply, putsTheNewApplicationInPlaceAndLeavesNothingElse) {
  InstallWorld world;
  world.prepared().apply();
  EXPECT_EQ(world.installedVersion(), "2.4.0");
  EXPECT_EQ(world.leftovers(), "");
  EXPECT_THAT(world.preparationDirectories(), IsEmpty());
  EXPECT_THAT(world.disk.list(world.staged), ElementsAre("BrindlewickUpdate.zip", "receipt.json"));
}

TEST(UpdateInstallerApply, installsExactlyWhatWasPrepared) {
  InstallWorld world;
  world.afterExpansion = [&](const Path& folder) {
    testing::writeFile(folder / "Brindlewick.app/Contents/Resources/read only", "text", 0444);
    world.disk.createDirectory(folder / "Brindlewick.app/Contents/Empty", 0711);
  };
  world.prepared();
  const auto prepared = testing::listing(world.preparation / "Brindlewick.app");
  world.apply();
  EXPECT_EQ(testing::listing(world.installed), prepared);
}

TEST(UpdateInstallerApply, goesThroughItsStepsInOrder) {
  InstallWorld world;
  world.prepared().apply();
  const std::string app = "~/Applications/Brindlewick.app";
  const std::string incoming = "~/Applications/.Brindlewick.incoming.UUID.app";
  const std::string backup = "~/Applications/.Brindlewick.backup.UUID.app";
  const std::string preparation = "~/staging/2.4.0-118-UUID/InstallPreparation-UUID";
  const std::string candidate = preparation + "/Brindlewick.app";
  const std::string receipts[] = {"open " + preparation + "/install-preparation.json",
                                  "open ~/staging/2.4.0-118-UUID/receipt.json",
                                  "open ~/staging/2.4.0-118-UUID/BrindlewickUpdate.zip"};
  EXPECT_THAT(world.log.events({"open", "code", "hasEnded", "isWritable", "shield", "copyTree", "syncTree", "sync",
                                "move", "removeTree", "tryLock"}),
              ElementsAreArray({receipts[0],
                                receipts[1],
                                receipts[2],  //
                                "open " + app + "/Contents/Info.plist",
                                "code " + app,  //
                                "open " + candidate + "/Contents/Info.plist",
                                "code " + candidate,
                                std::string("hasEnded 4711"),  //
                                std::string("tryLock ~/Applications"),
                                receipts[1],
                                receipts[2],  //
                                "open " + candidate + "/Contents/Info.plist",
                                "code " + candidate,
                                std::string("isWritable ~/Applications"),
                                std::string("shield up"),
                                "copyTree " + candidate + " " + incoming,  //
                                "open " + incoming + "/Contents/Info.plist",
                                "code " + incoming,  //
                                "syncTree " + incoming,
                                "move " + app + " " + backup,
                                "move " + incoming + " " + app,
                                "open " + app + "/Contents/Info.plist",
                                "code " + app,  //
                                std::string("sync ~/Applications"),
                                "removeTree " + incoming,
                                "removeTree " + backup,
                                std::string("shield down"),
                                "removeTree " + preparation}));
}

TEST(UpdateInstallerApply, letsNothingComeBetweenTheTwoMoves) {
  InstallWorld world;
  world.prepared().apply();
  const auto events = world.log.events();
  const auto first = std::ranges::find_if(events, [](const auto& event) { return event.starts_with("move "); });
  ASSERT_NE(first, events.end());
  EXPECT_TRUE((first + 1)->starts_with("move "));
}

TEST(UpdateInstallerApply, judgesEveryCandidateByTheInstalledTeamAndGatekeeper) {
  InstallWorld world;
  world.prepared().apply();
  EXPECT_THAT(world.log.events({"code"}), SizeIs(5));
  std::vector<std::string> assessed;
  for (const auto& event : world.log.events({"run"}))
    if (event.starts_with("run /usr/sbin/spctl")) assessed.push_back(event.substr(event.find('~')));
  const std::string candidate = "~/staging/2.4.0-118-UUID/InstallPreparation-UUID/Brindlewick.app";
  EXPECT_THAT(assessed, ElementsAre(candidate, candidate, "~/Applications/.Brindlewick.incoming.UUID.app",
                                    "~/Applications/Brindlewick.app"));
}

TEST(UpdateInstallerApply, waitsForTheParentOnlyWhenAsked) {
  InstallWorld world;
  world.parent = {.identifier = 0, .waitsForParent = false};
  world.prepared().apply();
  EXPECT_THAT(world.log.events({"hasEnded"}), IsEmpty());
  EXPECT_EQ(world.installedVersion(), "2.4.0");
}

TEST(UpdateInstallerApply, touchesNothingWhileTheParentRuns) {
  InstallWorld world;
  world.prepared();
  const auto before = world.everything();
  world.processes.ended = [&](std::int32_t) { return world.clock.sleeps.size() == 20; };
  world.clock.whileAsleep = [&] { EXPECT_EQ(world.everything(), before); };
  world.apply();
  EXPECT_EQ(world.installedVersion(), "2.4.0");
}

TEST(UpdateInstallerApply, relaunchesWhenAsked) {
  InstallWorld world;
  world.parent.relaunchesWhenDone = true;
  world.processes.script("/usr/bin/open", [](auto&) { return printed(""); });
  world.prepared().apply();
  EXPECT_EQ(world.log.events({"run"}).back(), "run /usr/bin/open -a ~/Applications/Brindlewick.app");
  EXPECT_EQ(world.processes.limitOf("/usr/bin/open"), 1'048'576U);
}

TEST(UpdateInstallerApply, reportsARelaunchThatFailsWithTheNewApplicationInPlace) {
  InstallWorld world;
  world.parent.relaunchesWhenDone = true;
  world.processes.script("/usr/bin/open", [](auto&) { return failedRun(); });
  world.prepared();
  EXPECT_THAT([&] { world.apply(); }, fails(invalidApplicationBundle));
  EXPECT_EQ(world.installedVersion(), "2.4.0");
  EXPECT_THAT(world.preparationDirectories(), IsEmpty());
}

TEST(UpdateInstallerApply, comparesStandardizedPlaces) {
  InstallWorld world;
  world.prepared();
  world.preparation = Path(world.staged.string() + "/x/../" + std::string(world.preparation.lastComponent()) + "/.");
  world.apply();
  EXPECT_EQ(world.installedVersion(), "2.4.0");
}

TEST(UpdateInstallerApply, succeedsWithAPreparationDirectoryThatCannotBeRemoved) {
  InstallWorld world;
  world.files.fail("removeTree", 3, errc::permission_denied);
  world.prepared().apply();
  EXPECT_EQ(world.installedVersion(), "2.4.0");
  EXPECT_THAT(world.preparationDirectories(), SizeIs(1));
}

/// One step that fails in one way, before anything is moved.
struct Failing {
  const char* name;
  std::string expected;
  /// Applied to a prepared world.
  std::function<void(InstallWorld&)> spoil;
};

std::string sentence(UpdateInstallError error) { return std::string(describe(error)); }
std::string sentence(UpdateSecurityError error) { return std::string(describe(error)); }

void alterArchive(const InstallWorld& world) {
  testing::writeFile(world.staged / "BrindlewickUpdate.zip", "Archive", 0600);
}

/// While the parent is waited for.
void meanwhile(InstallWorld& world, std::function<void()> action) {
  world.processes.ended = [&world](std::int32_t) { return !world.clock.sleeps.empty(); };
  world.clock.whileAsleep = std::move(action);
}

/// Every step, in the order in which they come.
const std::vector<Failing>& failingSteps() {
  static const std::vector<Failing> all{
      {"preparationName", sentence(unsafePreparation),
       [](auto& w) {
         const auto other = w.staged / "Preparation";
         w.disk.move(w.preparation, other);
         w.preparation = other;
       }},
      {"receiptSchema", sentence(unsafePreparation),
       [](auto& w) { w.editReceipt([](auto& receipt) { receipt.schemaVersion = 2; }); }},
      {"receiptIdentifier", sentence(wrongApplicationIdentity),
       [](auto& w) { w.editReceipt([](auto& receipt) { receipt.applicationIdentifier = "com.example.other"; }); }},
      {"archiveAltered", sentence(UpdateSecurityError::artifactHashMismatch), [](auto& w) { alterArchive(w); }},
      {"receiptBuild", sentence(unsafePreparation),
       [](auto& w) { w.editReceipt([](auto& receipt) { receipt.build = 119; }); }},
      {"installedUnsigned", sentence(invalidCodeSignature),
       [](auto& w) { w.disk.removeTree(w.installed / "Contents/_CodeSignature"); }},
      {"candidateTeam", sentence(wrongSigningTeam),
       [](auto& w) {
         testing::writeFile(w.preparation / "Brindlewick.app/Contents/_CodeSignature/CodeResources",
                            "valid developerID team OTHERTEAM9");
       }},
      {"parentOne", sentence(invalidCommand), [](auto& w) { w.parent.identifier = 1; }},
      {"parentStays", sentence(parentDidNotExit),
       [](auto& w) { w.processes.ended = [](std::int32_t) { return false; }; }},
      {"archiveAlteredMeanwhile", sentence(UpdateSecurityError::artifactHashMismatch),
       [](auto& w) { meanwhile(w, [&w] { alterArchive(w); }); }},
      {"candidateAlteredMeanwhile", sentence(invalidCodeSignature), [](auto& w) { w.codeSigning.damage(3); }},
      {"notWritable", sentence(destinationNotWritable), [](auto& w) { w.files.denyWriting(); }},
  };
  return all;
}

const std::vector<Failing>& furtherFailures() {
  static const std::vector<Failing> all{
      {"preparationElsewhere", sentence(unsafePreparation),
       [](auto& w) {
         const auto other = w.folder / w.preparation.lastComponent();
         w.disk.move(w.preparation, other);
         w.preparation = other;
       }},
      {"preparationBelow", sentence(unsafePreparation),
       [](auto& w) { w.preparation = w.preparation / "InstallPreparation-x"; }},
      {"preparationIsTheStagedDirectory", sentence(unsafePreparation), [](auto& w) { w.preparation = w.staged; }},
      {"preparationClimbs", sentence(unsafePreparation),
       [](auto& w) { w.preparation = w.staged / "../InstallPreparation-x"; }},
      {"preparationIsALink", sentence(unsafePreparation),
       [](auto& w) {
         const auto link = w.staged / "InstallPreparation-link";
         std::filesystem::create_symlink(w.preparation.string(), link.string());
         w.preparation = link;
       }},
      {"preparationIsAFile", sentence(unsafePreparation),
       [](auto& w) {
         w.preparation = w.staged / "InstallPreparation-file";
         testing::writeFile(w.preparation, "");
       }},
      {"noPreparation", sentence(unsafePreparation),
       [](auto& w) { w.preparation = w.staged / "InstallPreparation-none"; }},
      {"attributesUnreadable", sentence(unsafePreparation),
       [](auto& w) { w.files.fail("attributes", 1, errc::io_error); }},
      {"noReceipt", sentence(unsafePreparation),
       [](auto& w) { w.disk.removeTree(w.preparation / "install-preparation.json"); }},
      {"receiptIsALink", sentence(unsafePreparation),
       [](auto& w) {
         w.disk.move(w.preparation / "install-preparation.json", w.folder / "elsewhere");
         std::filesystem::create_symlink((w.folder / "elsewhere").string(),
                                         (w.preparation / "install-preparation.json").string());
       }},
      {"receiptIsADirectory", sentence(unsafePreparation),
       [](auto& w) {
         w.disk.removeTree(w.preparation / "install-preparation.json");
         w.disk.createDirectory(w.preparation / "install-preparation.json", 0700);
       }},
      {"receiptTooLarge", sentence(unsafePreparation),
       [](auto& w) {
         const auto file = w.preparation / "install-preparation.json";
         const auto text = testing::readFile(file);
         testing::writeFile(file, text + std::string(1'048'577 - text.size(), ' '), 0600);
       }},
      {"receiptUnreadable", sentence(unsafePreparation), [](auto& w) { w.files.fail("read", 1, errc::io_error); }},
      {"receiptIsNoJSON", sentence(unsafePreparation),
       [](auto& w) { testing::writeFile(w.preparation / "install-preparation.json", "{", 0600); }},
      {"receiptLacksAMember", sentence(unsafePreparation),
       [](auto& w) {
         testing::writeFile(w.preparation / "install-preparation.json", R"({"schemaVersion":1,"build":118})", 0600);
       }},
      {"receiptVersion", sentence(unsafePreparation),
       [](auto& w) { w.editReceipt([](auto& receipt) { receipt.version = "2.4.0+1"; }); }},
      {"receiptHash", sentence(unsafePreparation),
       [](auto& w) { w.editReceipt([](auto& receipt) { receipt.artifactSHA256 = std::string(64, 'a'); }); }},
      {"receiptCandidate", sentence(unsafePreparation),
       [](auto& w) { w.editReceipt([](auto& receipt) { receipt.candidateDirectoryName = "../Brindlewick.app"; }); }},
      {"noLongerNewer", sentence(unsafePreparation), [](auto& w) { w.runningVersion = "2.5.0"; }},
      {"noCandidate", sentence(invalidApplicationBundle),
       [](auto& w) { w.disk.removeTree(w.preparation / "Brindlewick.app"); }},
      {"candidateIsALink", sentence(invalidApplicationBundle),
       [](auto& w) {
         w.disk.removeTree(w.preparation / "Brindlewick.app");
         std::filesystem::create_symlink(w.installed.string(), (w.preparation / "Brindlewick.app").string());
       }},
      {"candidateOlder", sentence(wrongReleaseVersion),
       [](auto& w) { testing::TestBundle("2.3.9", 117).write(w.preparation / "Brindlewick.app"); }},
      {"gatekeeper", sentence(gatekeeperRejected),
       [](auto& w) { w.processes.script("/usr/sbin/spctl", [](auto&) { return failedRun(); }); }},
      {"noInstalled", sentence(invalidApplicationBundle), [](auto& w) { w.disk.removeTree(w.installed); }},
      {"writabilityUnknown", sentence(destinationNotWritable),
       [](auto& w) { w.files.fail("isWritable", 1, errc::io_error); }},
  };
  return all;
}

TEST(UpdateInstallerApplyFails, withTheErrorOfTheStepAndLeavesTheDiskAsItWas) {
  for (const auto* table : {&failingSteps(), &furtherFailures()})
    for (const auto& failing : *table) {
      InstallWorld world;
      failing.spoil(world.prepared());
      auto before = world.everything();
      // What somebody else changes during the wait stays changed.
      const auto meanwhile = world.clock.whileAsleep;
      world.clock.whileAsleep = [&] {
        EXPECT_EQ(world.everything(), before) << failing.name;
        meanwhile();
        before = world.everything();
      };
      EXPECT_EQ(errorOf([&] { world.apply(); }), failing.expected) << failing.name;
      EXPECT_EQ(world.everything(), before) << failing.name;
      EXPECT_THAT(world.log.events({"copyTree", "move", "removeTree"}), IsEmpty()) << failing.name;
    }
}

TEST(UpdateInstallerApplyFails, withTheErrorOfTheEarlierOfTwoSteps) {
  const auto& steps = failingSteps();
  for (std::size_t first = 0; first < steps.size(); ++first)
    for (std::size_t second = first + 1; second < steps.size(); ++second) {
      InstallWorld world;
      steps[second].spoil(world.prepared());
      steps[first].spoil(world);
      EXPECT_EQ(errorOf([&] { world.apply(); }), steps[first].expected)
          << steps[first].name << " and " << steps[second].name;
    }
}

TEST(UpdateInstallerApplyFails, beforeAnyWaitingForAParentThatCannotBe) {
  for (const std::int32_t identifier : {1, 0, -1}) {
    InstallWorld world;
    world.parent.identifier = identifier;
    world.prepared();
    EXPECT_THAT([&] { world.apply(); }, fails(invalidCommand));
    EXPECT_THAT(world.clock.sleeps, IsEmpty());
  }
}

TEST(UpdateInstallerApplyFails, asAnInterruptionWhereverOneIsNoticed) {
  const auto interruption = "system: " + std::make_error_code(errc::interrupted).message();
  for (int call = 1;; ++call) {
    InstallWorld world;
    const auto before = world.prepared().everything();
    world.files.fail("any", call, errc::interrupted);
    const auto error = errorOf([&] { world.apply(); });
    ASSERT_NE(world.files.hit(), "") << call;
    if (world.files.hit() == "copyTree") return;  // the swap has begun, and nothing interrupts it
    EXPECT_EQ(error, interruption) << call << " " << world.files.hit();
    EXPECT_EQ(world.everything(), before) << call << " " << world.files.hit();
  }
}

TEST(UpdateInstallerApplyFails, asAnInterruptionOfAToolOrOfTheWait) {
  const auto interrupt = [](auto&&...) -> ToolRun {
    throw PlatformError("finish", "", std::make_error_code(errc::interrupted));
  };
  for (const char* tool : {"/usr/bin/lipo", "/usr/sbin/spctl", "wait"}) {
    InstallWorld world;
    const auto before = world.prepared().everything();
    if (std::string_view(tool) == "wait")
      world.processes.ended = [&](std::int32_t) { return interrupt().succeeded; };
    else
      world.processes.script(tool, interrupt);
    EXPECT_THAT([&] { world.apply(); }, testing::failsWith(errc::interrupted)) << tool;
    EXPECT_EQ(world.everything(), before) << tool;
  }
}

TEST(UpdateInstallerApply, readsAReceiptOfExactlyTheLimit) {
  InstallWorld world;
  const auto file = world.prepared().preparation / "install-preparation.json";
  const auto text = testing::readFile(file);
  testing::writeFile(file, text + std::string(1'048'576 - text.size(), ' '), 0600);
  world.apply();
  EXPECT_EQ(world.installedVersion(), "2.4.0");
}

}  // namespace
}  // namespace brindlewick
