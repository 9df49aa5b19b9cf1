#include "signing/OfflineManifestSigner.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "platform/TextCoding.h"
#include "platform/posix/PosixFileSystem.h"
#include "signing/OfflineManifestSigningError.h"
#include "support/Fails.h"
#include "support/FaultyFileSystem.h"
#include "support/SignedFeed.h"
#include "support/TemporaryFolder.h"
#include "trust/UpdateManifestVerifier.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

using enum OfflineManifestSigningError;
using testing::exists;
using testing::fails;
using testing::failsWith;
using testing::permissionsOf;
using testing::readFile;
using testing::writeFile;

std::string seedText(std::size_t byteCount = 32) { return std::string(byteCount, '\x01'); }

/// A publisher's desk: a key, an archive and a release that may be signed.
struct Desk {
  testing::TemporaryFolder folder;
  PosixFileSystem files;
  Path key = folder / "key";
  Path archive = folder / "Brindlewick-2.4.0.zip";
  Path output = folder / "manifest.json";
  ReleaseDescription release{.applicationIdentifier = std::string(testing::applicationIdentifier),
                             .version = "2.4.0",
                             .build = 118,
                             .minimumSystemVersion = "12.0",
                             .artifactURL = URL::parse("https://updates.brindlewick.example/a.zip").value()};

  Desk() {
    writeFile(key, seedText(), 0600);
    writeFile(archive, "archive");
  }

  OfflineManifestSigningResult sign(std::uint32_t user = ::geteuid()) {
    return OfflineManifestSigner::sign(files, key, archive, release, user);
  }
  void write(const Path& to) { OfflineManifestSigner::write(files, asBytes("envelope"), to, {key, archive}); }
};

TEST(OfflineManifestSignerSign, makesAnEnvelopeThatTheVerifierAccepts) {
  Desk desk;
  const auto result = desk.sign();
  EXPECT_EQ(result.publicKeyBase64, testing::publicKeyBase64());
  const auto update =
      UpdateManifestVerifier::verify(result.envelopeData, result.publicKeyBase64,
                                     {.identifier = testing::applicationIdentifier, .version = "2.3.0", .build = 1});
  EXPECT_TRUE(update.isNewer);
  EXPECT_EQ(update.manifest.artifactSHA256, result.artifactSHA256);
  EXPECT_EQ(result.artifactSHA256, "0eb3e36bfb24dcd9bb1d1bece1531216b59539a8fde17ee80224af0653c92aa3");
  EXPECT_EQ(update.manifest.artifactURL, "https://updates.brindlewick.example/a.zip");
}

TEST(OfflineManifestSignerSign, isDeterministic) {
  Desk desk;
  EXPECT_EQ(desk.sign(), desk.sign());
}

TEST(OfflineManifestSignerSign, acceptsOwnerOnlyModesAndNoOthers) {
  for (const unsigned mode : {0600U, 0400U, 0700U}) {
    Desk desk;
    writeFile(desk.key, seedText(), mode);
    EXPECT_NO_THROW(static_cast<void>(desk.sign())) << std::oct << mode;
  }
  for (const unsigned mode : {0640U, 0644U, 0606U, 0604U, 0610U, 0601U, 0620U, 0602U}) {
    Desk desk;
    writeFile(desk.key, seedText(), mode);
    EXPECT_THAT([&] { static_cast<void>(desk.sign()); }, fails(unsafePrivateKeyFile)) << std::oct << mode;
  }
}

TEST(OfflineManifestSignerSign, refusesAKeyThatIsNoRegularFileOfThisUser) {
  Desk desk;
  EXPECT_THAT([&] { static_cast<void>(desk.sign(::geteuid() + 1)); }, fails(unsafePrivateKeyFile));
  std::filesystem::create_symlink(desk.key.string(), (desk.folder / "link").string());
  desk.key = desk.folder / "link";
  EXPECT_THAT([&] { static_cast<void>(desk.sign()); }, fails(unsafePrivateKeyFile));
  desk.key = desk.folder / "directory";
  desk.files.createDirectory(desk.key, 0700);
  EXPECT_THAT([&] { static_cast<void>(desk.sign()); }, fails(unsafePrivateKeyFile));
  desk.key = desk.folder / "missing";
  EXPECT_THAT([&] { static_cast<void>(desk.sign()); }, failsWith(std::errc::no_such_file_or_directory));
}

TEST(OfflineManifestSignerSign, checksTheKeyBeforeTheArchive) {
  Desk desk;
  std::filesystem::remove(desk.archive.string());
  EXPECT_THAT([&] { static_cast<void>(desk.sign()); }, failsWith(std::errc::no_such_file_or_directory));
  writeFile(desk.key, "bad", 0600);
  EXPECT_THAT([&] { static_cast<void>(desk.sign()); }, fails(malformedPrivateKey));
  writeFile(desk.key, "bad", 0644);
  EXPECT_THAT([&] { static_cast<void>(desk.sign()); }, fails(unsafePrivateKeyFile));
}

TEST(OfflineManifestSignerSign, followsALinkToTheArchive) {
  Desk desk;
  const auto direct = desk.sign();
  std::filesystem::create_symlink(desk.archive.string(), (desk.folder / "latest.zip").string());
  desk.archive = desk.folder / "latest.zip";
  EXPECT_EQ(desk.sign(), direct);
}

struct BadRelease {
  const char* name;
  UpdateSecurityError expected;
  std::function<void(ReleaseDescription&)> spoil;
};

TEST(OfflineManifestSignerSign, refusesWhatTheVerifierWouldRefuse) {
  using enum UpdateSecurityError;
  const auto url = [](const char* text) {
    return [text](auto& release) { release.artifactURL = URL::parse(text).value(); };
  };
  const BadRelease releases[] = {
      {"twoNumbers", invalidVersion, [](auto& release) { release.version = "1.2"; }},
      {"buildZero", invalidBuild, [](auto& release) { release.build = 0; }},
      {"systemOfOneNumber", invalidMinimumSystemVersion, [](auto& release) { release.minimumSystemVersion = "12"; }},
      {"plainHTTP", insecureArtifactURL, url("http://h/a.zip")},
      {"relativeURL", insecureArtifactURL, url("a.zip")},
      {"userInURL", insecureArtifactURL, url("https://u@h/a.zip")},
      {"noZip", unsupportedArtifact, url("https://h/a.dmg")},
      {"notUTF8", nonCanonicalPayload, [](auto& release) { release.applicationIdentifier = "\xFF"; }},
  };
  for (const auto& bad : releases) {
    Desk desk;
    bad.spoil(desk.release);
    EXPECT_THAT([&] { static_cast<void>(desk.sign()); }, fails(bad.expected)) << bad.name;
  }
}

TEST(OfflineManifestSignerWrite, replacesTheFileAndClosesItToOthers) {
  Desk desk;
  writeFile(desk.output, "an older and longer manifest", 0644);
  desk.write(desk.output);
  EXPECT_EQ(readFile(desk.output), "envelope");
  EXPECT_EQ(permissionsOf(desk.output), 0600U);
}

TEST(OfflineManifestSignerWrite, neverReplacesTheKeyOrTheArchive) {
  Desk desk;
  for (const auto& output :
       {desk.key, desk.archive, desk.folder / "." / "key", desk.folder / "x" / ".." / "Brindlewick-2.4.0.zip",
        Path(desk.archive.string() + "/"), Path("/" + desk.key.string())})
    EXPECT_THAT([&] { desk.write(output); }, fails(unsafeOutputPath)) << output.string();
  EXPECT_EQ(readFile(desk.key), seedText());
}

TEST(OfflineManifestSignerWrite, leavesNothingWhereItCannotWrite) {
  Desk desk;
  EXPECT_THAT([&] { desk.write(desk.folder / "missing" / "manifest.json"); },
              failsWith(std::errc::no_such_file_or_directory));
  EXPECT_FALSE(exists(desk.folder / "missing"));
}

TEST(OfflineManifestSigner, keepsAnEarlierManifestWhicheverCallOfTheDiskFails) {
  int number = 0;
  for (bool isComplete = false; !isComplete;) {
    Desk desk;
    writeFile(desk.output, "earlier", 0600);
    testing::EventLog log(desk.folder.path().string());
    testing::FaultyFileSystem faulty(desk.files, log);
    faulty.fail("any", ++number, std::errc::io_error);
    try {
      const auto result = OfflineManifestSigner::sign(faulty, desk.key, desk.archive, desk.release, ::geteuid());
      OfflineManifestSigner::write(faulty, result.envelopeData, desk.output, {desk.key, desk.archive});
      isComplete = true;
    } catch (const PlatformError& error) {
      EXPECT_EQ(error.code(), std::errc::io_error) << faulty.hit();
      EXPECT_EQ(readFile(desk.output), "earlier") << faulty.hit();
    }
    EXPECT_EQ(desk.files.list(desk.folder.path()).size(), 3U) << faulty.hit();
    ASSERT_LT(number, 100);
  }
  EXPECT_GT(number, 4) << "the sweep has met too few calls to mean anything";
}

TEST(OfflineManifestSigningErrorSentences, areTheFixedOnes) {
  EXPECT_EQ(describe(unsafePrivateKeyFile),
            "The Ed25519 private-key file must be a regular, non-symlink file readable only by its owner.");
  EXPECT_EQ(describe(malformedPrivateKey),
            "The Ed25519 private-key file must contain exactly 32 raw bytes or their base64 encoding.");
  EXPECT_EQ(describe(unsafeOutputPath),
            "The manifest output path must not replace the private key or release artifact.");
}

}  // namespace
}  // namespace brindlewick
