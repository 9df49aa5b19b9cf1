#include "staging/StagedUpdateReceipt.h"

#include <gtest/gtest.h>

#include "support/UnknownMembers.h"

namespace brindlewick {
namespace {

const StagedUpdateReceipt receipt{.schemaVersion = 1,
                                  .version = "2.4.0",
                                  .build = 118,
                                  .artifactFileName = "BrindlewickUpdate.zip",
                                  .artifactSHA256 = "00",
                                  .manifestPayload = "cGF5",
                                  .manifestSignature = "c2ln"};

std::string written() { return std::string(asText(receipt.encode().value())); }

TEST(StagedUpdateReceipt, isReadBackFromWhatIsWritten) {
  EXPECT_EQ(StagedUpdateReceipt::decode(asBytes(written())), receipt);
}

TEST(StagedUpdateReceipt, ignoresOtherMembersWhateverTheyHold) {
  for (const auto& [name, text] : testing::withMembersToIgnore(written()))
    EXPECT_EQ(StagedUpdateReceipt::decode(asBytes(text)), receipt) << name;
}

TEST(StagedUpdateReceipt, isRefusedIfAnythingInTheTextIsNoJSON) {
  for (const auto& [name, text] : testing::spoiledJSON(written()))
    EXPECT_EQ(StagedUpdateReceipt::decode(asBytes(text)), std::nullopt) << name << ": " << text;
}

TEST(StagedUpdateReceipt, needsEachOfItsMembersOnce) {
  for (const std::string key : {"schemaVersion", "version", "build", "artifactFileName", "artifactSHA256",
                                "manifestPayload", "manifestSignature"}) {
    auto missing = written();
    missing.insert(missing.find("\"" + key + "\"") + 1, "x");
    EXPECT_EQ(StagedUpdateReceipt::decode(asBytes(missing)), std::nullopt) << missing;
    auto twice = written();
    twice.insert(1, "\"" + key + "\":{},");
    EXPECT_EQ(StagedUpdateReceipt::decode(asBytes(twice)), std::nullopt) << twice;
  }
}

}  // namespace
}  // namespace brindlewick
