#include "platform/macos/SecurityCodeSigning.h"

#include <gmock/gmock.h>

#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

const Path applesOwn("/System/Applications/Calculator.app");
constexpr std::string_view developerID =
    "anchor apple generic and identifier \"com.apple.calculator\" and certificate 1[field.1.2.840.113635.100.6.2.6] "
    "exists and certificate leaf[field.1.2.840.113635.100.6.1.13] exists and certificate leaf[subject.OU] = \"TEAM\"";

/// A bundle whose program is a script, and which nobody has signed yet.
class OwnBundle : public ::testing::Test {
 protected:
  OwnBundle() {
    testing::writeFile(bundle / "Contents/Info.plist",
                       "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                       "<key>CFBundleIdentifier</key><string>com.brindlewick.test</string>"
                       "<key>CFBundleExecutable</key><string>Test</string>"
                       "<key>CFBundlePackageType</key><string>APPL</string></dict></plist>");
    testing::writeFile(bundle / "Contents/Resources/text", "resource");
    testing::writeFile(bundle / "Contents/MacOS/Test", "#!/bin/sh\n", 0755);
  }

  bool sign() {
    return PosixProcessLauncher()
        .run(Path("/usr/bin/codesign"), {"--force", "--sign", "-", bundle.string()}, 65'536)
        .succeeded;
  }

  testing::TemporaryFolder folder;
  Path bundle = folder / "Test.app";
  SecurityCodeSigning signing;
};

TEST(SecurityCodeSigning, findsAnApplicationOfTheSystemValid) {
  SecurityCodeSigning signing;
  const auto code = signing.staticCode(applesOwn);
  ASSERT_NE(code, nullptr);
  EXPECT_TRUE(code->isValid());
  EXPECT_EQ(code->teamIdentifier(), std::nullopt);
}

TEST(SecurityCodeSigning, judgesARequirement) {
  SecurityCodeSigning signing;
  const auto code = signing.staticCode(applesOwn);
  const auto apple = signing.requirement("anchor apple");
  const auto developer = signing.requirement(developerID);
  ASSERT_TRUE(code && apple && developer);
  EXPECT_TRUE(code->satisfies(*apple));
  EXPECT_FALSE(code->satisfies(*developer));
}

TEST(SecurityCodeSigning, compilesNoTextThatIsNoRequirement) {
  SecurityCodeSigning signing;
  EXPECT_EQ(signing.requirement("anchor apple and"), nullptr);
  EXPECT_EQ(signing.requirement("identifier \"\xFF\""), nullptr);
}

TEST(SecurityCodeSigning, hasNothingToJudgeWhereNothingIs) {
  EXPECT_EQ(SecurityCodeSigning().staticCode(Path("/nothing/here.app")), nullptr);
}

TEST_F(OwnBundle, isNotValidUnsigned) {
  const auto code = signing.staticCode(bundle);
  EXPECT_TRUE(code == nullptr || !code->isValid());
}

TEST_F(OwnBundle, isValidButNobodysWhenSignedAdHoc) {
  ASSERT_TRUE(sign());
  const auto code = signing.staticCode(bundle);
  ASSERT_NE(code, nullptr);
  EXPECT_TRUE(code->isValid());
  EXPECT_EQ(code->teamIdentifier(), std::nullopt);
  EXPECT_FALSE(code->satisfies(*signing.requirement("anchor apple generic")));
}

TEST_F(OwnBundle, isNotValidOnceAResourceHasChanged) {
  ASSERT_TRUE(sign());
  testing::writeFile(bundle / "Contents/Resources/text", "another");
  const auto code = signing.staticCode(bundle);
  ASSERT_NE(code, nullptr);
  EXPECT_FALSE(code->isValid());
}

}  // namespace
}  // namespace brindlewick
