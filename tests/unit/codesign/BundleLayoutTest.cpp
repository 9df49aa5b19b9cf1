#include "platform/linux/codesign/BundleLayout.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "support/TemporaryFolder.h"
#include "support/codesign/PropertyListText.h"
#include "unit/codesign/BrokenRule.h"

namespace brindlewick::codesign {
namespace {

using testing::writeFile;

/// A bundle of which nothing is signed: its layout is judged before any signature is.
class BundleLayoutTest : public ::testing::Test {
 protected:
  void inform(const std::string& place, const std::map<std::string, std::string>& entries) {
    writeFile(bundle / place, testing::plist::document(testing::plist::dictionary({entries.begin(), entries.end()})));
  }

  void makeApplication(const std::map<std::string, std::string>& entries = {
                           {"CFBundleExecutable", testing::plist::string("program")}}) {
    inform("Contents/Info.plist", entries);
  }

  void addDirectory(const std::string& path) { std::filesystem::create_directories((bundle / path).string()); }

  void addLink(const std::string& path, const std::string& target) {
    std::filesystem::create_symlink(target, (bundle / path).string());
  }

  /// The paths of the executables of all layouts, in the order in which they are judged.
  [[nodiscard]] std::vector<std::string> executables() const {
    std::vector<std::string> paths;
    PropertyListBudget budget;
    forEachBundleLayout(std::get<Folder>(openCode(bundle)), bundle.lastComponent(), budget,
                        [&](const BundleLayout& layout) { paths.push_back(layout.executablePath); });
    return paths;
  }

  [[nodiscard]] std::string brokenRule() const {
    return testing::brokenRuleOf([&] { static_cast<void>(executables()); });
  }

  testing::TemporaryFolder folder;
  Path bundle = folder / "Some.Name.app";
};

using Paths = std::vector<std::string>;

TEST_F(BundleLayoutTest, readsAnInfoPlistInTheNotationsOfMacOS) {
  writeFile(bundle / "Contents/Info.plist",
            "\n<plist version='0.9'><dict ><key>CFBundleExecutable</key ><string><![CDATA[program]]></string>"
            "<key>CFBundleVersion</key><integer>+0118</integer></dict></plist><!-- end -->");
  EXPECT_EQ(executables(), Paths{"MacOS/program"});
}

TEST_F(BundleLayoutTest, looksForTheExecutableInMacOS) {
  makeApplication();
  EXPECT_EQ(executables(), Paths{"MacOS/program"});
}

TEST_F(BundleLayoutTest, takesTheBundlesNameForAnExecutableWithoutOne) {
  makeApplication({});
  EXPECT_EQ(executables(), Paths{"MacOS/Some.Name"});
}

TEST_F(BundleLayoutTest, wantsATextForTheExecutable) {
  for (const std::string element : {"<integer>1</integer>", "<true/>", "<array><string>program</string></array>"}) {
    makeApplication({{"CFBundleExecutable", element}});
    EXPECT_EQ(brokenRule(), "the executable's name is a text") << element;
  }
}

TEST_F(BundleLayoutTest, letsTheExecutableLieNowhereElse) {
  for (const std::string name : {"", ".", "..", "../program", "sub/program", "/program", "program/"}) {
    makeApplication({{"CFBundleExecutable", testing::plist::string(name)}});
    EXPECT_EQ(brokenRule(), "the executable's name leads nowhere else") << name;
  }
}

TEST_F(BundleLayoutTest, refusesAStoreReceiptThatIsAnEmptyFolder) {
  makeApplication();
  addDirectory("Contents/_MASReceipt");
  EXPECT_EQ(brokenRule(), "only store applications have a receipt");
}

TEST_F(BundleLayoutTest, refusesAnInfoForMacOSBeside) {
  makeApplication();
  inform("Contents/Info-macos.plist", {});
  EXPECT_EQ(brokenRule(), "there is one Info.plist");
}

TEST_F(BundleLayoutTest, refusesATicketThatIsNoFile) {
  makeApplication();
  addDirectory("Contents/CodeResources");
  EXPECT_EQ(brokenRule(), "a ticket is a file");
}

TEST_F(BundleLayoutTest, knowsWhatLiesInTheRootOfAnApplication) {
  makeApplication();
  for (const std::string name : {".LSOverride", ".DS_Store", "Icon\r", ".SoftwareDepot.tracking"})
    writeFile(bundle / name, "");
  EXPECT_EQ(brokenRule(), "");
  writeFile(bundle / ".DS_Store", "", 0700);
  EXPECT_EQ(brokenRule(), "nothing unsealed lies in the root of a bundle");
}

TEST_F(BundleLayoutTest, knowsWhatLiesInTheFolderOfTheSignature) {
  makeApplication();
  writeFile(bundle / "Contents/_CodeSignature/CodeResources", "");
  writeFile(bundle / "Contents/_CodeSignature/CodeSignature", "");
  EXPECT_EQ(brokenRule(), "");
  writeFile(bundle / "Contents/_CodeSignature/CodeSignature", "x");
  EXPECT_EQ(brokenRule(), "_CodeSignature holds only CodeResources");
  std::filesystem::remove((bundle / "Contents/_CodeSignature/CodeSignature").string());
  addDirectory("Contents/_CodeSignature/CodeSignature");
  EXPECT_EQ(brokenRule(), "_CodeSignature holds only files");
}

TEST_F(BundleLayoutTest, refusesPartsOfAnotherFormInAFlatBundle) {
  inform("Info.plist", {});
  EXPECT_EQ(executables(), Paths{"Some.Name"});
  for (const std::string name : {"Support Files", "support files", "WrappedBundle", "CONTENTS", "versions"}) {
    addDirectory(name);
    EXPECT_EQ(brokenRule(), "a flat bundle has no part of another form") << name;
    std::filesystem::remove((bundle / name).string());
  }
}

TEST_F(BundleLayoutTest, refusesTwoPropertyListsOfAFlatBundle) {
  inform("Info.plist", {});
  addDirectory("Resources");
  writeFile(bundle / "Resources/data.plist", "");
  EXPECT_EQ(brokenRule(), "");
  writeFile(bundle / "Resources/info.plist", "");
  EXPECT_EQ(brokenRule(), "a flat bundle has no part of another form");
}

TEST_F(BundleLayoutTest, refusesVariantsOfTheKeysThatAreRead) {
  for (const std::string key : {"CFBundleExecutable", "CFBundleIdentifier", "CFBundlePackageType",
                                "CFBundleShortVersionString", "CFBundleVersion"})
    for (const std::string suffix : {"-macos", "-macosx", "~", "-iphoneos"}) {
      makeApplication({{key + suffix, testing::plist::string("other")}});
      EXPECT_EQ(brokenRule(), "a key that is read has one value for all systems") << key << suffix;
    }
}

TEST_F(BundleLayoutTest, judgesEveryVersionOfAFrameworkTheCurrentOneFirst) {
  inform("Versions/A/Resources/Info.plist", {{"CFBundleExecutable", testing::plist::string("a")}});
  inform("Versions/B/Resources/Info.plist", {{"CFBundleExecutable", testing::plist::string("b")}});
  addLink("Versions/Current", "B");
  EXPECT_EQ(executables(), (Paths{"b", "a"}));
}

TEST_F(BundleLayoutTest, wantsACurrentVersionThatIsOneOfTheVersions) {
  constexpr const char* rule = "the current version of a framework is one of its versions";
  inform("Versions/A/Resources/Info.plist", {});
  EXPECT_EQ(brokenRule(), rule);
  addLink("Versions/Current", "../Versions/A");
  EXPECT_EQ(brokenRule(), rule);
}

}  // namespace
}  // namespace brindlewick::codesign
