#include "staging/VerifiedArtifactStager.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "platform/TextCoding.h"
#include "platform/posix/PosixFileSystem.h"
#include "staging/ArtifactHasher.h"
#include "staging/UpdateInstallHandoffPolicy.h"
#include "support/Fails.h"
#include "support/FaultyFileSystem.h"
#include "support/SignedFeed.h"
#include "support/TemporaryFolder.h"
#include "trust/UpdateSecurityError.h"
#include "unit/staging/StagingWorld.h"

namespace brindlewick {
namespace {

using enum UpdateSecurityError;
using ::testing::ElementsAre;
using testing::exists;
using testing::fails;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using testing::permissionsOf;
using testing::readFile;
using testing::StagingWorld;
using testing::writeFile;

void link(const Path& target, const Path& path) { std::filesystem::create_symlink(target.string(), path.string()); }

TEST(ArtifactHasher, hashesEmptyAndLargeFiles) {
  const testing::TemporaryFolder folder;
  PosixFileSystem files;
  writeFile(folder / "empty", "");
  EXPECT_EQ(ArtifactHasher::sha256Hex(files, folder / "empty"),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  writeFile(folder / "million", std::string(1'000'000, 'a'));
  EXPECT_EQ(ArtifactHasher::sha256Hex(files, folder / "million"),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  EXPECT_THAT([&] { static_cast<void>(ArtifactHasher::sha256Hex(files, folder / "missing")); },
              testing::failsWith(std::errc::no_such_file_or_directory));
}

TEST(VerifiedArtifactStagerStage, leavesArchiveAndReceiptInAPrivateCandidateDirectory) {
  StagingWorld world;
  const auto staged = world.stage();
  const auto candidate = staged.artifactURL.parent();
  EXPECT_EQ(candidate.parent(), world.staging);
  EXPECT_THAT(std::string(candidate.lastComponent()),
              MatchesRegex("2\\.4\\.0-118-[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_THAT(world.files.list(candidate), ElementsAre("BrindlewickUpdate.zip", "receipt.json"));
  EXPECT_EQ(permissionsOf(staged.artifactURL), 0600U);
  EXPECT_EQ(permissionsOf(staged.receiptURL), 0600U);
  EXPECT_EQ(permissionsOf(world.staging), 0700U);
  EXPECT_EQ(permissionsOf(candidate), 0700U);
  EXPECT_EQ(readFile(staged.artifactURL), "archive");
  EXPECT_FALSE(exists(world.download));
}

TEST(VerifiedArtifactStagerStage, writesTheReceiptCanonically) {
  StagingWorld world;
  const auto staged = world.stage();
  const auto& manifest = world.update.manifest;
  const auto& envelope = world.update.envelope;
  EXPECT_EQ(readFile(staged.receiptURL), R"({"artifactFileName":"BrindlewickUpdate.zip","artifactSHA256":")" +
                                             manifest.artifactSHA256 + R"(","build":118,"manifestPayload":")" +
                                             envelope.payload + R"(","manifestSignature":")" + envelope.signature +
                                             R"(","schemaVersion":1,"version":"2.4.0"})");
  EXPECT_EQ(StagedUpdateReceipt::decode(asBytes(readFile(staged.receiptURL))), staged.receipt);
}

TEST(VerifiedArtifactStagerStage, setsModesUnderAnyUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{077}, mode_t{0777}}) {
    StagingWorld world;
    world.staging = world.folder / "a" / "b" / "staging";
    const auto before = ::umask(mask);
    const auto staged = world.stage();
    ::umask(before);
    EXPECT_EQ(permissionsOf(world.folder / "a"), 0700U);
    EXPECT_EQ(permissionsOf(world.staging), 0700U);
    EXPECT_EQ(permissionsOf(staged.artifactURL.parent()), 0700U);
    EXPECT_EQ(permissionsOf(staged.artifactURL), 0600U);
    EXPECT_EQ(permissionsOf(staged.receiptURL), 0600U);
  }
}

TEST(VerifiedArtifactStagerStage, narrowsAnExistingStagingDirectory) {
  StagingWorld world;
  world.files.createDirectory(world.staging, 0755);
  static_cast<void>(world.stage());
  EXPECT_EQ(permissionsOf(world.staging), 0700U);
}

TEST(VerifiedArtifactStagerStage, makesANewCandidateEachTime) {
  StagingWorld world;
  static_cast<void>(world.stage());
  writeFile(world.download, "archive", 0600);
  static_cast<void>(world.stage());
  EXPECT_EQ(world.candidates().size(), 2U);
}

TEST(VerifiedArtifactStagerStage, refusesALinkForAStagingDirectory) {
  StagingWorld world;
  world.files.createDirectory(world.folder / "real", 0755);
  link(world.folder / "real", world.staging);
  EXPECT_THAT([&] { static_cast<void>(world.stage()); }, fails(unsafeStagingDirectory));
  EXPECT_THAT(world.files.list(world.folder / "real"), IsEmpty());
  EXPECT_EQ(permissionsOf(world.folder / "real"), 0755U);
  EXPECT_TRUE(exists(world.download));
}

TEST(VerifiedArtifactStagerStage, refusesAFileForAStagingDirectory) {
  StagingWorld world;
  writeFile(world.staging, "");
  EXPECT_THAT([&] { static_cast<void>(world.stage()); }, fails(unsafeStagingDirectory));
}

TEST(VerifiedArtifactStagerStage, refusesADownloadThatIsNoRegularFile) {
  StagingWorld world;
  link(world.download, world.folder / "link");
  world.download = world.folder / "link";
  EXPECT_THAT([&] { static_cast<void>(world.stage()); }, fails(unsafeStagingDirectory));
  world.download = world.folder.path();
  EXPECT_THAT([&] { static_cast<void>(world.stage()); }, fails(unsafeStagingDirectory));
  EXPECT_FALSE(exists(world.staging));
}

TEST(VerifiedArtifactStagerStage, refusesAnotherHashBeforeTouchingTheStagingDirectory) {
  StagingWorld world;
  writeFile(world.download, "archivf", 0600);
  EXPECT_THAT([&] { static_cast<void>(world.stage()); }, fails(artifactHashMismatch));
  EXPECT_FALSE(exists(world.staging));
  EXPECT_TRUE(exists(world.download));
}

TEST(VerifiedArtifactStagerStage, failsCleanlyOnANameThatIsTooLong) {
  StagingWorld world;
  world.update.manifest.version = "1.0.0-" + std::string(300, 'a');
  EXPECT_THAT([&] { static_cast<void>(world.stage()); }, testing::failsWith(std::errc::filename_too_long));
  EXPECT_THAT(world.candidates(), IsEmpty());
}

TEST(VerifiedArtifactStagerStage, leavesNoCandidateWhicheverCallOfTheDiskFails) {
  int number = 0;
  for (bool isComplete = false; !isComplete;) {
    StagingWorld world;
    testing::EventLog log(world.folder.path().string());
    testing::FaultyFileSystem faulty(world.files, log);
    faulty.fail("any", ++number, std::errc::io_error);
    const auto stage = [&] {
      static_cast<void>(VerifiedArtifactStager::stage(faulty, world.download, world.update, world.staging));
    };
    try {
      stage();
      isComplete = true;
      EXPECT_EQ(faulty.hit(), "");
      EXPECT_EQ(world.candidates().size(), 1U);
    } catch (const PlatformError& error) {
      EXPECT_EQ(error.code(), std::errc::io_error) << faulty.hit();
      EXPECT_THAT(world.candidates(), IsEmpty()) << number << " " << faulty.hit();
    }
    ASSERT_LT(number, 200);
  }
  EXPECT_GT(number, 15) << "the sweep has met too few calls to mean anything";
}

/// A staged update that is spoiled in one place before it is verified again.
struct Spoiled {
  const char* name;
  UpdateSecurityError expected;
  std::function<void(StagingWorld&, const StagedUpdate&)> spoil;
};

void rewriteReceipt(const StagedUpdate& staged, const std::function<void(StagedUpdateReceipt&)>& change) {
  auto receipt = staged.receipt;
  change(receipt);
  writeFile(staged.receiptURL, asText(receipt.encode().value()), 0600);
}

/// In the order in which the rules are checked.
const std::vector<Spoiled>& spoiledUpdates() {
  static const std::vector<Spoiled> all{
      {"receiptIsALink", unsafeStagingDirectory,
       [](auto& world, auto& staged) {
         world.files.move(staged.receiptURL, world.folder / "elsewhere.json");
         link(world.folder / "elsewhere.json", staged.receiptURL);
       }},
      {"receiptIsADirectory", unsafeStagingDirectory,
       [](auto& world, auto& staged) {
         world.files.removeTree(staged.receiptURL);
         world.files.createDirectory(staged.receiptURL, 0700);
       }},
      {"receiptTooLarge", unsafeStagingDirectory,
       [](auto&, auto& staged) {
         const auto text = readFile(staged.receiptURL);
         writeFile(staged.receiptURL, text + std::string(1'048'577 - text.size(), ' '), 0600);
       }},
      {"receiptIsMissing", unsafeStagingDirectory,
       [](auto& world, auto& staged) { world.files.removeTree(staged.receiptURL); }},
      {"schemaTwo", malformedEnvelope,
       [](auto&, auto& staged) { rewriteReceipt(staged, [](auto& receipt) { receipt.schemaVersion = 2; }); }},
      {"otherFileName", malformedEnvelope,
       [](auto&, auto& staged) {
         rewriteReceipt(staged, [](auto& receipt) { receipt.artifactFileName = "../other.zip"; });
       }},
      {"payloadEdited", invalidSignature,
       [](auto&, auto& staged) {
         rewriteReceipt(staged, [](auto& receipt) {
           auto manifest = testing::validManifest();
           manifest.build = 119;
           receipt.manifestPayload = encodeBase64(CanonicalUpdateManifest::encode(manifest).value());
         });
       }},
      {"signatureCut", malformedEnvelope,
       [](auto&, auto& staged) {
         rewriteReceipt(staged, [](auto& receipt) { receipt.manifestSignature.resize(40); });
       }},
      {"versionEdited", invalidSignature,
       [](auto&, auto& staged) { rewriteReceipt(staged, [](auto& receipt) { receipt.version = "2.4.1"; }); }},
      {"buildEdited", invalidSignature,
       [](auto&, auto& staged) { rewriteReceipt(staged, [](auto& receipt) { receipt.build = 119; }); }},
      {"hashEdited", invalidSignature,
       [](auto&, auto& staged) {
         rewriteReceipt(staged, [](auto& receipt) { receipt.artifactSHA256 = std::string(64, 'a'); });
       }},
      {"archiveIsALink", unsafeStagingDirectory,
       [](auto& world, auto& staged) {
         world.files.move(staged.artifactURL, world.folder / "elsewhere.zip");
         link(world.folder / "elsewhere.zip", staged.artifactURL);
       }},
      {"archiveIsADirectory", unsafeStagingDirectory,
       [](auto& world, auto& staged) {
         world.files.removeTree(staged.artifactURL);
         world.files.createDirectory(staged.artifactURL, 0700);
       }},
      {"archiveIsMissing", unsafeStagingDirectory,
       [](auto& world, auto& staged) { world.files.removeTree(staged.artifactURL); }},
      {"archiveAltered", artifactHashMismatch,
       [](auto&, auto& staged) { writeFile(staged.artifactURL, "Archive", 0600); }},
      {"archiveLonger", artifactHashMismatch,
       [](auto&, auto& staged) { writeFile(staged.artifactURL, "archive2", 0600); }},
  };
  return all;
}

TEST(VerifiedArtifactStagerReverify, acceptsWhatStagingLeft) {
  StagingWorld world;
  const auto staged = world.stage();
  const auto before = testing::listing(world.staging);
  EXPECT_EQ(world.reverify(staged.artifactURL.parent()), world.update);
  EXPECT_EQ(testing::listing(world.staging), before);
}

TEST(VerifiedArtifactStagerReverify, refusesEachSpoiledPlaceWithItsCase) {
  for (const auto& spoiled : spoiledUpdates()) {
    StagingWorld world;
    const auto staged = world.stage();
    spoiled.spoil(world, staged);
    EXPECT_THAT([&] { static_cast<void>(world.reverify(staged.artifactURL.parent())); }, fails(spoiled.expected))
        << spoiled.name;
  }
}

TEST(VerifiedArtifactStagerReverify, reportsTheReceiptBeforeTheArchive) {
  for (std::size_t i = 0; i < 11; ++i) {
    StagingWorld world;
    const auto staged = world.stage();
    writeFile(staged.artifactURL, "Archive", 0600);
    spoiledUpdates()[i].spoil(world, staged);
    EXPECT_THAT([&] { static_cast<void>(world.reverify(staged.artifactURL.parent())); },
                fails(spoiledUpdates()[i].expected))
        << spoiledUpdates()[i].name;
  }
}

TEST(VerifiedArtifactStagerReverify, readsAReceiptOfExactlyTheLimit) {
  StagingWorld world;
  const auto staged = world.stage();
  const auto text = readFile(staged.receiptURL);
  writeFile(staged.receiptURL, text + std::string(1'048'576 - text.size(), ' '), 0600);
  EXPECT_EQ(world.reverify(staged.artifactURL.parent()), world.update);
}

TEST(VerifiedArtifactStagerReverify, refusesALinkOrAFileForTheStagedDirectory) {
  StagingWorld world;
  const auto staged = world.stage();
  link(staged.artifactURL.parent(), world.folder / "link");
  EXPECT_THAT([&] { static_cast<void>(world.reverify(world.folder / "link")); }, fails(unsafeStagingDirectory));
  EXPECT_THAT([&] { static_cast<void>(world.reverify(staged.artifactURL)); }, fails(unsafeStagingDirectory));
  EXPECT_THAT([&] { static_cast<void>(world.reverify(world.folder / "missing")); }, fails(unsafeStagingDirectory));
}

TEST(VerifiedArtifactStagerReverify, passesOnWhatCannotBeDecoded) {
  StagingWorld world;
  const auto staged = world.stage();
  writeFile(staged.receiptURL, "{}", 0600);
  EXPECT_THAT([&] { static_cast<void>(world.reverify(staged.artifactURL.parent())); },
              testing::failsWith(std::errc::illegal_byte_sequence));
}

TEST(UpdateInstallHandoffPolicy, saysWhatIsStillToBeChecked) {
  EXPECT_EQ(
      UpdateInstallHandoffPolicy::stagedMessage,
      "Verified and staged; choose Install and Relaunch to run final bundle, Developer ID, Gatekeeper, and rollback "
      "checks.");
}

}  // namespace
}  // namespace brindlewick
