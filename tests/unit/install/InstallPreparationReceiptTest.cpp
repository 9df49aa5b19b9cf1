#include "install/InstallPreparationReceipt.h"

#include <gtest/gtest.h>

#include "support/UnknownMembers.h"

namespace brindlewick {
namespace {

const InstallPreparationReceipt receipt{.schemaVersion = 1,
                                        .applicationIdentifier = "com.brindlewick.app",
                                        .version = "2.4.0",
                                        .build = 118,
                                        .artifactSHA256 = "00",
                                        .candidateDirectoryName = "Brindlewick.app"};

std::string written() { return std::string(asText(receipt.encode().value())); }

TEST(InstallPreparationReceipt, isReadBackFromWhatIsWritten) {
  EXPECT_EQ(InstallPreparationReceipt::decode(asBytes(written())), receipt);
}

TEST(InstallPreparationReceipt, ignoresOtherMembersWhateverTheyHold) {
  for (const auto& [name, text] : testing::withMembersToIgnore(written()))
    EXPECT_EQ(InstallPreparationReceipt::decode(asBytes(text)), receipt) << name;
}

TEST(InstallPreparationReceipt, isRefusedIfAnythingInTheTextIsNoJSON) {
  for (const auto& [name, text] : testing::spoiledJSON(written()))
    EXPECT_EQ(InstallPreparationReceipt::decode(asBytes(text)), std::nullopt) << name << ": " << text;
}

TEST(InstallPreparationReceipt, needsEachOfItsMembersOnce) {
  for (const std::string key :
       {"schemaVersion", "applicationIdentifier", "version", "build", "artifactSHA256", "candidateDirectoryName"}) {
    auto missing = written();
    missing.insert(missing.find("\"" + key + "\"") + 1, "x");
    EXPECT_EQ(InstallPreparationReceipt::decode(asBytes(missing)), std::nullopt) << missing;
    auto twice = written();
    twice.insert(1, "\"" + key + "\":{},");
    EXPECT_EQ(InstallPreparationReceipt::decode(asBytes(twice)), std::nullopt) << twice;
  }
}

}  // namespace
}  // namespace brindlewick
