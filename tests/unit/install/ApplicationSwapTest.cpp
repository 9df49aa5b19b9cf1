#include "install/ApplicationSwap.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

#include "install/UpdateInstallError.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "support/Fails.h"
#include "support/InstallWorld.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;
using std::errc;
using testing::errorOf;
using testing::fails;
using testing::InstallWorld;
using ::testing::IsEmpty;

/// The codes that apply asks for, in order: installed, candidate, candidate again, then the two of the swap.
constexpr int codeOfIncoming = 4;
constexpr int codeInPlace = 5;

/// Something that goes wrong during the swap, and what is on disk afterwards.
struct SwapFailure {
  const char* name;
  std::function<void(InstallWorld&)> spoil;
  /// The error; nothing for a swap that succeeds all the same.
  std::optional<UpdateInstallError> expected;
  const char* installedVersion;
  const char* leftovers;
};

const std::vector<SwapFailure>& swapFailures() {
  static const std::vector<SwapFailure> all{
      {"copy", [](auto& w) { w.files.fail("copyTree", 1, errc::no_space_on_device); }, replacementFailed, "2.3.0", ""},
      {"copyHalfDone", [](auto& w) { w.files.failAfterwards("copyTree", 1, errc::io_error); }, replacementFailed,
       "2.3.0", ""},
      {"copyDamaged", [](auto& w) { w.codeSigning.damage(codeOfIncoming); }, invalidCodeSignature, "2.3.0", ""},
      {"copyOfAnotherTeam",
       [](auto& w) {
         w.files.runAfter("copyTree", 1, [&w] {
           for (const auto& name : w.disk.list(w.installed.parent()))
             if (name.starts_with(".Brindlewick.incoming."))
               testing::writeFile(w.installed.parent() / name / "Contents/_CodeSignature/CodeResources",
                                  "valid developerID team OTHERTEAM9");
         });
       },
       wrongSigningTeam, "2.3.0", ""},
      {"lipoVanishesForTheCopy",
       [](auto& w) {
         w.files.runAfter("copyTree", 1, [&w] {
           w.processes.script("/usr/bin/lipo", [](auto&) -> ToolRun { testing::failToStart("/usr/bin/lipo"); });
         });
       },
       replacementFailed, "2.3.0", ""},
      {"sync", [](auto& w) { w.files.fail("syncTree", 1, errc::io_error); }, replacementFailed, "2.3.0", ""},
      {"firstMove", [](auto& w) { w.files.fail("move", 1, errc::operation_not_permitted); }, replacementFailed, "2.3.0",
       ""},
      {"firstMoveDoneButReportedFailed", [](auto& w) { w.files.failAfterwards("move", 1, errc::io_error); },
       replacementFailed, "2.3.0", ""},
      {"secondMove", [](auto& w) { w.files.fail("move", 2, errc::no_space_on_device); }, replacementFailed, "2.3.0",
       ""},
      {"secondMoveDoneButReportedFailed", [](auto& w) { w.files.failAfterwards("move", 2, errc::io_error); },
       replacementFailed, "2.3.0", ""},
      {"somebodyElseTookThePlace",
       [](auto& w) { w.files.runAfter("move", 1, [&w] { testing::TestBundle("9.9.9", 999).write(w.installed); }); },
       replacementFailed, "2.3.0", ""},
      {"damagedInPlace", [](auto& w) { w.codeSigning.damage(codeInPlace); }, replacementFailed, "2.3.0", ""},
      {"incomingCannotBeRemoved",
       [](auto& w) {
         w.files.fail("syncTree", 1, errc::io_error);
         w.files.fail("removeTree", 1, errc::io_error);
       },
       replacementFailed, "2.3.0", ".Brindlewick.incoming.UUID.app"},
      // The backup goes although it could not be put back: the order at the end of a failed swap is fixed.
      {"secondMoveAndPuttingBack",
       [](auto& w) {
         w.files.fail("move", 2, errc::io_error);
         w.files.fail("move", 4, errc::io_error);
       },
       replacementFailed, "none", ""},
      {"puttingBackAfterTheFirstMove",
       [](auto& w) {
         w.files.failAfterwards("move", 1, errc::io_error);
         w.files.fail("move", 2, errc::io_error);
       },
       replacementFailed, "none", ""},
      {"damagedInPlaceAndNotRemovable",
       [](auto& w) {
         w.codeSigning.damage(codeInPlace);
         w.files.fail("removeTree", 1, errc::io_error);
       },
       replacementFailed, "2.3.0", ""},
      {"damagedInPlaceAndNotExchangeable",
       [](auto& w) {
         w.codeSigning.damage(codeInPlace);
         w.files.fail("exchange", 1, errc::io_error);
       },
       replacementFailed, "2.3.0", ""},
      {"damagedInPlaceAndExchangedButReportedFailed",
       [](auto& w) {
         w.codeSigning.damage(codeInPlace);
         w.files.failAfterwards("exchange", 1, errc::io_error);
       },
       replacementFailed, "2.3.0", ""},
      {"damagedInPlaceAndRefusedOneNotRemovable",
       [](auto& w) {
         w.codeSigning.damage(codeInPlace);
         w.files.fail("removeTree", 2, errc::io_error);
       },
       replacementFailed, "2.3.0", ".Brindlewick.backup.UUID.app"},
      {"damagedInPlaceAndNeitherExchangeableNorRemovable",
       [](auto& w) {
         w.codeSigning.damage(codeInPlace);
         w.files.fail("exchange", 1, errc::not_supported);
         w.files.fail("removeTree", 1, errc::io_error);
       },
       replacementFailed, "2.3.0", ".Brindlewick.incoming.UUID.app"},
      {"damagedInPlaceWhereItemsCannotBeToldApart",
       [](auto& w) {
         w.codeSigning.damage(codeInPlace);
         w.files.fail("exchange", 1, errc::not_supported);
         w.files.giveEverythingOneIdentity();
       },
       replacementFailed, "2.3.0", ""},
      {"damagedInPlaceAndInNoWayCleared",
       [](auto& w) {
         w.codeSigning.damage(codeInPlace);
         w.files.fail("exchange", 1, errc::not_supported);
         w.files.fail("move", 3, errc::io_error);
         w.files.fail("removeTree", 1, errc::io_error);
       },
       replacementFailed, "2.4.0", ""},
      {"folderNotLocked", [](auto& w) { w.files.fail("tryLock", 1, errc::no_lock_available); }, std::nullopt, "2.4.0",
       ""},
      {"folderNotSynced", [](auto& w) { w.files.fail("sync", 1, errc::io_error); }, std::nullopt, "2.4.0", ""},
      {"incomingNameNotCleared", [](auto& w) { w.files.fail("removeTree", 1, errc::io_error); }, std::nullopt, "2.4.0",
       ""},
      {"backupNotRemoved", [](auto& w) { w.files.fail("removeTree", 2, errc::io_error); }, std::nullopt, "2.4.0",
       ".Brindlewick.backup.UUID.app"},
  };
  return all;
}

TEST(ApplicationSwap, endsInTheRightStateWhateverFails) {
  for (const auto& failure : swapFailures()) {
    InstallWorld world;
    failure.spoil(world.prepared());
    const std::string expected(failure.expected ? describe(*failure.expected) : "");
    EXPECT_EQ(errorOf([&] { world.apply(); }), expected) << failure.name;
    EXPECT_EQ(world.installedVersion(), failure.installedVersion) << failure.name;
    EXPECT_EQ(world.leftovers(), failure.leftovers) << failure.name;
    // A failed swap can be tried again.
    EXPECT_EQ(world.preparationDirectories().size(), failure.expected ? 1U : 0U) << failure.name;
  }
}

TEST(ApplicationSwap, keepsOldOrNewWholeAtEveryCallThatFails) {
  for (int call = 1;; ++call) {
    InstallWorld world;
    world.prepared();
    const auto before = testing::listing(world.installed);
    const auto next = testing::listing(world.preparation / "Brindlewick.app");
    ASSERT_NE(before, next);
    world.files.fail("any", call, errc::io_error);
    const auto error = errorOf([&] { world.apply(); });
    const auto& hit = world.files.hit();
    if (hit.empty()) {
      EXPECT_EQ(error, "");
      EXPECT_GT(call, 40);  // or the sweep has swept nothing
      return;
    }
    EXPECT_EQ(testing::listing(world.installed), error.empty() ? next : before) << call << " " << hit;
    if (hit == "removeTree") continue;
    EXPECT_EQ(world.leftovers(), "") << call << " " << hit;
    EXPECT_EQ(error.empty(), hit == "sync" || hit == "tryLock") << call << " " << hit;
  }
}

TEST(ApplicationSwap, keepsOldOrNewWholeAtEveryCallThatReportsAFailureAfterwards) {
  for (int call = 1;; ++call) {
    InstallWorld world;
    world.prepared();
    const auto before = testing::listing(world.installed);
    const auto next = testing::listing(world.preparation / "Brindlewick.app");
    ASSERT_NE(before, next);
    world.files.failAfterwards("any", call, errc::io_error);
    const auto error = errorOf([&] { world.apply(); });
    if (world.files.hit().empty()) return;
    EXPECT_EQ(testing::listing(world.installed), error.empty() ? next : before) << call << " " << world.files.hit();
    EXPECT_EQ(world.leftovers(), "") << call << " " << world.files.hit();
  }
}

TEST(ApplicationSwap, putsTheOldApplicationBackWhicheverCallFailsOrReportsAFailure) {
  using Break = void (testing::FaultyFileSystem::*)(const std::string&, int, errc);
  for (const Break breakCall : {&testing::FaultyFileSystem::fail, &testing::FaultyFileSystem::failAfterwards})
    for (int call = 1;; ++call) {
      InstallWorld world;
      const auto before = testing::listing(world.prepared().installed);
      world.codeSigning.damage(codeInPlace);
      (world.files.*breakCall)("any", call, errc::io_error);
      EXPECT_NE(errorOf([&] { world.apply(); }), "") << call;
      EXPECT_EQ(testing::listing(world.installed), before) << call << " " << world.files.hit();
      if (world.files.hit().empty()) break;
    }
}

TEST(ApplicationSwap, writesNothingWhereItMayNotWrite) {
  InstallWorld world;
  world.files.denyWriting();
  const auto before = world.prepared().everything();
  EXPECT_THAT([&] { world.apply(); }, fails(destinationNotWritable));
  EXPECT_EQ(world.everything(), before);
  EXPECT_THAT(world.log.events({"copyTree", "shield"}), IsEmpty());
}

TEST(ApplicationSwap, leavesOtherItemsBesideTheApplicationAlone) {
  InstallWorld world;
  const auto other = world.installed.parent() / ".Brindlewick.backup.of somebody.app";
  testing::writeFile(other / "file", "");
  world.prepared().apply();
  EXPECT_TRUE(testing::exists(other / "file"));
}

TEST(ApplicationSwap, replacesAnApplicationThatCannotBeWrittenTo) {
  InstallWorld world;
  std::filesystem::permissions(world.installed.string(), static_cast<std::filesystem::perms>(0555));
  world.prepared().apply();
  EXPECT_EQ(world.installedVersion(), "2.4.0");
  EXPECT_EQ(world.leftovers(), "");
}

/// Tools as scripted, signals as they really are.
class RealSignals final : public ProcessLauncher {
 public:
  explicit RealSignals(ProcessLauncher& scripted) : scripted_(scripted) {}
  [[nodiscard]] ToolRun run(const Path& executable, const std::vector<std::string>& arguments,
                            std::size_t outputByteLimit) override {
    return scripted_.run(executable, arguments, outputByteLimit);
  }
  void startDetached(const Path& executable, const std::vector<std::string>& arguments) override {
    scripted_.startDetached(executable, arguments);
  }
  [[nodiscard]] bool hasEnded(std::int32_t process) override { return scripted_.hasEnded(process); }
  [[nodiscard]] std::uint32_t effectiveUser() override { return scripted_.effectiveUser(); }
  void guardSecrets() noexcept override { scripted_.guardSecrets(); }
  void startOwnSession() override { scripted_.startOwnSession(); }
  [[nodiscard]] std::unique_ptr<SignalShield> shieldFromSignals() override { return real_.shieldFromSignals(); }

 private:
  ProcessLauncher& scripted_;
  PosixProcessLauncher real_;
};

TEST(ApplicationSwap, isNotEndedBySignalsAtAnyPoint) {
  for (const char* operation : {"copyTree", "syncTree", "move", "sync"}) {
    InstallWorld world;
    world.prepared();
    const auto signals = [] {
      for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGPIPE}) ::raise(signal);
    };
    world.files.runBefore(operation, 1, signals);
    RealSignals processes(world.processes);
    UpdateInstaller::apply({world.files, world.propertyLists, world.codeSigning, processes}, world.clock,
                           world.request(), world.preparation, world.parent);
    EXPECT_EQ(world.installedVersion(), "2.4.0") << operation;
  }
}

}  // namespace
}  // namespace brindlewick
