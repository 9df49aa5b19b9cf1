#include "install/ApplicationIdentity.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "install/UpdateInstallError.h"
#include "support/Fails.h"
#include "support/InstallWorld.h"
#include "support/SignedFeed.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;
using ::testing::Contains;
using ::testing::ElementsAre;
using testing::failedRun;
using testing::fails;
using ::testing::IsEmpty;
using testing::printed;

/// One bundle of version 2.4.0 (118) and everything that is expected of a candidate.
struct Inspection : testing::InstallWorld {
  Path bundle = folder / "Candidate.app";
  testing::TestBundle recipe{"2.4.0", 118};
  ExpectedApplication expected{.identifier = std::string(testing::applicationIdentifier),
                               .version = "2.4.0",
                               .build = 118,
                               .teamIdentifier = "TEAM123456",
                               .isAssessed = true};
  std::function<void()> afterWriting = [] {};

  VerifiedApplicationIdentity verify() {
    recipe.write(bundle);
    afterWriting();
    return ApplicationIdentity::verify(tools(), bundle, expected);
  }
};

TEST(ApplicationIdentity, returnsWhatAGenuineApplicationSays) {
  Inspection inspection;
  EXPECT_EQ(inspection.verify(), (VerifiedApplicationIdentity{"com.brindlewick.app", "2.4.0", 118, "TEAM123456"}));
}

TEST(ApplicationIdentity, asksForTheDeveloperIDOfTheTeamThatSigned) {
  Inspection inspection;
  static_cast<void>(inspection.verify());
  EXPECT_THAT(inspection.log.events({"requirement"}),
              ElementsAre("requirement anchor apple generic and identifier \"com.brindlewick.app\" and certificate "
                          "1[field.1.2.840.113635.100.6.2.6] exists and certificate "
                          "leaf[field.1.2.840.113635.100.6.1.13] exists and certificate leaf[subject.OU] = "
                          "\"TEAM123456\""));
}

TEST(ApplicationIdentity, runsTheToolsWithTheirArgumentsAndLimits) {
  Inspection inspection;
  static_cast<void>(inspection.verify());
  EXPECT_THAT(inspection.log.events({"run"}),
              ElementsAre("run /usr/bin/lipo -archs ~/Candidate.app/Contents/MacOS/Brindlewick",
                          "run /usr/sbin/spctl --assess --type execute --verbose=2 ~/Candidate.app"));
  EXPECT_EQ(inspection.processes.limitOf("/usr/bin/lipo"), 1'048'576U);
  EXPECT_EQ(inspection.processes.limitOf("/usr/sbin/spctl"), 1'048'576U);
}

TEST(ApplicationIdentity, readsThePropertyListOnce) {
  Inspection inspection;
  static_cast<void>(inspection.verify());
  EXPECT_THAT(inspection.log.events({"open"}), ElementsAre("open ~/Candidate.app/Contents/Info.plist"));
}

TEST(ApplicationIdentity, comparesOnlyWhatIsExpected) {
  Inspection inspection;
  inspection.expected = {.identifier = std::string(testing::applicationIdentifier)};
  inspection.recipe = testing::TestBundle("1.0", 7);
  inspection.recipe.seal = "valid developerID team OTHER";
  EXPECT_EQ(inspection.verify(), (VerifiedApplicationIdentity{"com.brindlewick.app", "1.0", 7, "OTHER"}));
  EXPECT_THAT(inspection.log.events({"run"}),
              ElementsAre("run /usr/bin/lipo -archs ~/Candidate.app/Contents/MacOS/Brindlewick"));
}

TEST(ApplicationIdentity, looksForBrindlewickWhenNoExecutableIsNamed) {
  for (const char* value : {"", "integer 5", "other"}) {
    Inspection inspection;
    inspection.recipe.properties.erase("CFBundleExecutable");
    if (*value != 0) inspection.recipe.properties["CFBundleExecutable"] = value;
    EXPECT_NO_THROW(static_cast<void>(inspection.verify())) << value;
  }
}

TEST(ApplicationIdentity, looksForTheExecutableThatTheBundleNames) {
  Inspection inspection;
  inspection.recipe.properties["CFBundleExecutable"] = "string Other Name";
  inspection.recipe.executable = "Other Name";
  static_cast<void>(inspection.verify());
  EXPECT_THAT(inspection.log.events({"run"}),
              Contains("run /usr/bin/lipo -archs ~/Candidate.app/Contents/MacOS/Other Name"));
}

TEST(ApplicationIdentity, readsTheBuildFromTextAndFromNumbers) {
  const std::pair<const char*, std::int64_t> accepted[] = {
      {"string 118", 118}, {"integer 118", 118}, {"string +118", 118}, {"string 0118", 118},
      {"string -3", -3},   {"real 118.0", 118},  {"real -0.0", 0},     {"real 9007199254740992", 9007199254740992}};
  for (const auto& [value, build] : accepted) {
    Inspection inspection;
    inspection.recipe.properties["CFBundleVersion"] = value;
    inspection.expected.build = build;
    EXPECT_EQ(inspection.verify().build, build) << value;
  }
  for (const char* value :
       {"string", "string 118.0", "string 1 18", "string 118 ", "string  118", "string 0x76",
        "string 9223372036854775808", "string +-1", "real 118.5", "real 1e300", "real inf", "real nan", "other"}) {
    Inspection inspection;
    inspection.recipe.properties["CFBundleVersion"] = value;
    EXPECT_THAT([&] { static_cast<void>(inspection.verify()); }, fails(invalidApplicationBundle)) << value;
  }
}

TEST(ApplicationIdentity, takesAnyOrderOfArchitecturesAndMore) {
  for (const char* words : {"arm64 x86_64", "x86_64 arm64e arm64", "  arm64\n\tx86_64  i386"}) {
    Inspection inspection;
    inspection.recipe.architectures = words;
    EXPECT_NO_THROW(static_cast<void>(inspection.verify())) << words;
  }
}

/// One rule, broken in one way.
struct Broken {
  const char* name;
  UpdateInstallError expected;
  std::function<void(Inspection&)> spoil;
};

void replaceByLink(Inspection& inspection, const Path& item) {
  inspection.afterWriting = [&inspection, item] {
    inspection.disk.move(item, inspection.folder / "elsewhere");
    std::filesystem::create_symlink((inspection.folder / "elsewhere").string(), item.string());
  };
}

/// In the order in which the rules are checked: one for each rule.
const std::vector<Broken>& brokenRules() {
  static const std::vector<Broken> all{
      {"otherExtension", invalidApplicationBundle, [](auto& i) { i.bundle = i.folder / "Candidate.App"; }},
      {"packageType", invalidApplicationBundle,
       [](auto& i) { i.recipe.properties["CFBundlePackageType"] = "string FMWK"; }},
      {"identifierCase", wrongApplicationIdentity, [](auto& i) { i.expected.identifier = "com.Brindlewick.app"; }},
      {"shortVersion", wrongReleaseVersion,
       [](auto& i) {
         i.recipe.properties["CFBundleShortVersionString"] = "string 1.2";
         i.expected.version = "1.2.0";
       }},
      {"build", wrongReleaseVersion, [](auto& i) { i.expected.build = 119; }},
      {"unreadableCode", invalidCodeSignature, [](auto& i) { i.codeSigning.failReading(); }},
      {"invalidCode", invalidCodeSignature, [](auto& i) { i.codeSigning.damage(1); }},
      {"otherTeam", wrongSigningTeam, [](auto& i) { i.expected.teamIdentifier = "OTHER"; }},
      {"requirementDoesNotCompile", invalidCodeSignature, [](auto& i) { i.codeSigning.refuseRequirements(); }},
      {"noExecutableInside", invalidApplicationBundle,
       [](auto& i) { i.recipe.properties["CFBundleExecutable"] = "string ../Resources/tool"; }},
      {"thin", unsupportedArchitecture, [](auto& i) { i.recipe.architectures = "arm64"; }},
      {"gatekeeper", gatekeeperRejected,
       [](auto& i) { i.processes.script("/usr/sbin/spctl", [](auto&) { return failedRun(); }); }},
  };
  return all;
}

/// Further ways to break a rule.
const std::vector<Broken>& furtherWays() {
  static const std::vector<Broken> all{
      {"noExtension", invalidApplicationBundle, [](auto& i) { i.bundle = i.folder / "Candidate"; }},
      {"onlyAnExtension", invalidApplicationBundle, [](auto& i) { i.bundle = i.folder / ".app"; }},
      {"bundleIsALink", invalidApplicationBundle, [](auto& i) { replaceByLink(i, i.bundle); }},
      {"bundleIsAFile", invalidApplicationBundle,
       [](auto& i) {
         i.afterWriting = [&i] {
           i.disk.removeTree(i.bundle);
           testing::writeFile(i.bundle, "");
         };
       }},
      {"noBundle", invalidApplicationBundle, [](auto& i) { i.afterWriting = [&i] { i.disk.removeTree(i.bundle); }; }},
      {"attributesUnreadable", invalidApplicationBundle,
       [](auto& i) { i.files.fail("attributes", 1, std::errc::permission_denied); }},
      {"listIsALink", invalidApplicationBundle, [](auto& i) { replaceByLink(i, i.bundle / "Contents/Info.plist"); }},
      {"noList", invalidApplicationBundle,
       [](auto& i) { i.afterWriting = [&i] { i.disk.removeTree(i.bundle / "Contents/Info.plist"); }; }},
      {"listUnreadable", invalidApplicationBundle, [](auto& i) { i.files.fail("read", 1, std::errc::io_error); }},
      {"listIsNone", invalidApplicationBundle, [](auto& i) { i.recipe.properties["CFBundleName"] = "nonsense"; }},
      {"listTooLarge", invalidApplicationBundle,
       [](auto& i) { i.recipe.properties["CFBundleName"] = "string " + std::string(1'048'576, 'x'); }},
      {"noIdentifier", invalidApplicationBundle, [](auto& i) { i.recipe.properties.erase("CFBundleIdentifier"); }},
      {"identifierIsANumber", invalidApplicationBundle,
       [](auto& i) { i.recipe.properties["CFBundleIdentifier"] = "integer 5"; }},
      {"noShortVersion", invalidApplicationBundle,
       [](auto& i) { i.recipe.properties.erase("CFBundleShortVersionString"); }},
      {"shortVersionIsANumber", invalidApplicationBundle,
       [](auto& i) { i.recipe.properties["CFBundleShortVersionString"] = "integer 2"; }},
      {"noVersion", invalidApplicationBundle, [](auto& i) { i.recipe.properties.erase("CFBundleVersion"); }},
      {"noPackageType", invalidApplicationBundle, [](auto& i) { i.recipe.properties.erase("CFBundlePackageType"); }},
      {"identifierContinues", wrongApplicationIdentity,
       [](auto& i) { i.recipe.properties["CFBundleIdentifier"] += ".helper"; }},
      {"noCode", invalidCodeSignature,
       [](auto& i) { i.afterWriting = [&i] { i.disk.removeTree(i.bundle / "Contents/_CodeSignature"); }; }},
      {"noTeam", invalidCodeSignature, [](auto& i) { i.recipe.seal = "valid developerID"; }},
      {"emptyTeam", invalidCodeSignature, [](auto& i) { i.recipe.seal = "valid developerID team "; }},
      {"noDeveloperID", invalidCodeSignature, [](auto& i) { i.recipe.seal = "valid team TEAM123456"; }},
      {"lipoFails", invalidApplicationBundle,
       [](auto& i) { i.processes.script("/usr/bin/lipo", [](auto&) { return failedRun(); }); }},
      {"lipoPrintsTooMuch", invalidApplicationBundle,
       [](auto& i) { i.recipe.architectures = "arm64 x86_64" + std::string(1'048'576, ' '); }},
      {"lipoPrintsNothing", unsupportedArchitecture, [](auto& i) { i.recipe.architectures = ""; }},
      {"lipoPrintsNoText", unsupportedArchitecture, [](auto& i) { i.recipe.architectures = "arm64 x86_64 \xff"; }},
      {"intelOnly", unsupportedArchitecture, [](auto& i) { i.recipe.architectures = "x86_64"; }},
      {"similarNames", unsupportedArchitecture, [](auto& i) { i.recipe.architectures = "arm64e x86_64h"; }},
      {"gatekeeperPrintsTooMuch", gatekeeperRejected,
       [](auto& i) {
         i.processes.script("/usr/sbin/spctl", [](auto&) { return printed(std::string(1'048'577, 'x')); });
       }},
      {"noGatekeeper", gatekeeperRejected,
       [](auto& i) { i.processes.script("/usr/sbin/spctl", [](auto&) -> ToolRun { testing::failToStart("spctl"); }); }},
  };
  return all;
}

TEST(ApplicationIdentityRefuses, eachBrokenRuleWithItsCase) {
  for (const auto* table : {&brokenRules(), &furtherWays()})
    for (const auto& broken : *table) {
      Inspection inspection;
      broken.spoil(inspection);
      EXPECT_THAT([&] { static_cast<void>(inspection.verify()); }, fails(broken.expected)) << broken.name;
    }
}

TEST(ApplicationIdentityRefuses, theEarlierOfTwoBrokenRules) {
  const auto& rules = brokenRules();
  for (std::size_t first = 0; first < rules.size(); ++first)
    for (std::size_t second = first + 1; second < rules.size(); ++second) {
      Inspection inspection;
      rules[second].spoil(inspection);
      rules[first].spoil(inspection);
      EXPECT_THAT([&] { static_cast<void>(inspection.verify()); }, fails(rules[first].expected))
          << rules[first].name << " and " << rules[second].name;
    }
}

/// What "Contents/MacOS/" and a name must not be joined to.
const std::string namesThatAreNotPlain[] = {"../../../../usr/bin/x",          "/usr/bin/x", "a/b", "..", ".", "",
                                            std::string("Brindlewick\0x", 13)};

TEST(ApplicationIdentityRefuses, executableNamesThatLeadOutOfTheBundle) {
  for (const std::string& name : namesThatAreNotPlain)
    for (const bool isInstalled : {false, true}) {
      Inspection inspection;
      if (isInstalled) inspection.expected = {.identifier = std::string(testing::applicationIdentifier)};
      inspection.recipe.properties["CFBundleExecutable"] = "string " + name;
      EXPECT_THAT([&] { static_cast<void>(inspection.verify()); }, fails(invalidApplicationBundle)) << name;
      EXPECT_THAT(inspection.log.events({"requirement"}), ::testing::SizeIs(1)) << name;
      EXPECT_THAT(inspection.log.events({"run"}), IsEmpty()) << name;
    }
}

TEST(ApplicationIdentityRefuses, anotherTeamBeforeAnyRequirementIsBuilt) {
  Inspection inspection;
  inspection.recipe.seal = "valid developerID team OTHER";
  EXPECT_THAT([&] { static_cast<void>(inspection.verify()); }, fails(wrongSigningTeam));
  EXPECT_THAT(inspection.log.events({"requirement"}), IsEmpty());
}

TEST(ApplicationIdentityRefuses, textsThatCouldEndTheQuotesOfARequirement) {
  for (const std::string& text :
       {std::string("A\" or anchor trusted or \""), std::string("A\\"), std::string("A\0B", 3)}) {
    Inspection team;
    team.expected.teamIdentifier.reset();
    team.recipe.seal = "valid developerID team " + text;
    EXPECT_THAT([&] { static_cast<void>(team.verify()); }, fails(invalidCodeSignature)) << text;
    EXPECT_THAT(team.log.events({"requirement"}), IsEmpty());

    Inspection identifier;
    identifier.expected.identifier = text;
    identifier.recipe.properties["CFBundleIdentifier"] = "string " + text;
    EXPECT_THAT([&] { static_cast<void>(identifier.verify()); }, fails(invalidCodeSignature)) << text;
    EXPECT_THAT(identifier.log.events({"requirement"}), IsEmpty());
  }
}

TEST(ApplicationIdentityRefuses, packageTypesBeforeAnySignatureWork) {
  Inspection inspection;
  inspection.recipe.properties["CFBundlePackageType"] = "string FMWK";
  EXPECT_THAT([&] { static_cast<void>(inspection.verify()); }, fails(invalidApplicationBundle));
  EXPECT_THAT(inspection.log.events({"code"}), IsEmpty());
}

TEST(ApplicationIdentityRefuses, aThinInstalledApplicationToo) {
  Inspection inspection;
  inspection.expected = {.identifier = std::string(testing::applicationIdentifier)};
  inspection.recipe.architectures = "arm64";
  EXPECT_THAT([&] { static_cast<void>(inspection.verify()); }, fails(unsupportedArchitecture));
}

TEST(ApplicationIdentity, passesOnThatLipoCannotBeStarted) {
  Inspection inspection;
  inspection.processes.script("/usr/bin/lipo", [](auto&) -> ToolRun { testing::failToStart("lipo"); });
  EXPECT_THAT([&] { static_cast<void>(inspection.verify()); },
              testing::failsWith(std::errc::no_such_file_or_directory));
}

TEST(ApplicationIdentity, passesOnThatReadingTheCodeWasInterrupted) {
  Inspection inspection;
  inspection.codeSigning.failReading(std::errc::interrupted);
  EXPECT_THAT([&] { static_cast<void>(inspection.verify()); }, testing::failsWith(std::errc::interrupted));
}

TEST(ApplicationIdentity, changesNothingOnDisk) {
  Inspection inspection;
  std::string before;
  inspection.afterWriting = [&] { before = inspection.everything(); };
  static_cast<void>(inspection.verify());
  EXPECT_EQ(inspection.everything(), before);
}

}  // namespace
}  // namespace brindlewick
