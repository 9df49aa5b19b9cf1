#include "trust/UpdateManifestVerifier.h"

#include <gtest/gtest.h>

#include <functional>

#include "platform/TextCoding.h"
#include "support/Fails.h"
#include "support/SignedFeed.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

using enum UpdateSecurityError;
using testing::fails;

/// Everything that the verifier is given, valid until a test spoils it.
struct Feed {
  UpdateManifest manifest = testing::validManifest();
  /// Changes the canonical bytes before they are signed.
  std::function<std::string(std::string)> respell = [](std::string text) { return text; };
  /// Changes the envelope after signing.
  std::function<void(SignedUpdateManifestEnvelope&)> tamper = [](auto&) {};
  /// Changes the envelope's bytes.
  std::function<std::string(std::string)> rewrite = [](std::string text) { return text; };
  std::string publicKey = testing::publicKeyBase64();
  std::string identifier = std::string(testing::applicationIdentifier);
  std::string runningVersion = "2.3.0";
  std::int64_t runningBuild = 100;

  [[nodiscard]] ValidatedUpdate verify() const {
    const auto payload = respell(std::string(asText(CanonicalUpdateManifest::encode(manifest).value())));
    auto envelope = testing::signPayload(asBytes(payload));
    tamper(envelope);
    const auto bytes = rewrite(std::string(asText(CanonicalSignedEnvelope::encode(envelope).value())));
    return UpdateManifestVerifier::verify(asBytes(bytes), publicKey,
                                          {.identifier = identifier, .version = runningVersion, .build = runningBuild});
  }
};

struct Rule {
  const char* name;
  UpdateSecurityError expected;
  std::function<void(Feed&)> breakRule;
};

std::string keyOf(std::size_t byteCount) { return encodeBase64(Bytes(byteCount, 7)); }

/// One way to break each rule, in the order in which the rules are checked.
const std::vector<Rule>& rules() {
  static const std::vector<Rule> all{
      {"tooLarge", malformedEnvelope,
       [](Feed& f) { f.rewrite = [](auto t) { return t + std::string(1'048'576, ' '); }; }},
      {"notJSON", malformedEnvelope, [](Feed& f) { f.rewrite = [](auto) { return "<html>"; }; }},
      {"payloadNotBase64", malformedEnvelope, [](Feed& f) { f.tamper = [](auto& e) { e.payload += "\n"; }; }},
      {"signatureNotBase64", malformedEnvelope,
       [](Feed& f) { f.tamper = [](auto& e) { e.signature = "!" + e.signature; }; }},
      {"signatureOf63Bytes", malformedEnvelope, [](Feed& f) { f.tamper = [](auto& e) { e.signature = keyOf(63); }; }},
      {"keyNotBase64", malformedPublicKey, [](Feed& f) { f.publicKey = "key"; }},
      {"keyOf31Bytes", malformedPublicKey, [](Feed& f) { f.publicKey = keyOf(31); }},
      {"otherKey", invalidSignature, [](Feed& f) { f.publicKey = testing::publicKeyBase64(2); }},
      {"trailingNewline", nonCanonicalPayload, [](Feed& f) { f.respell = [](auto t) { return t + "\n"; }; }},
      {"schemaTwo", unsupportedSchema, [](Feed& f) { f.manifest.schemaVersion = 2; }},
      {"otherApplication", wrongApplication, [](Feed& f) { f.identifier = "com.brindlewick.App"; }},
      {"badVersion", invalidVersion, [](Feed& f) { f.manifest.version = "2.4"; }},
      {"badRunningVersion", invalidVersion, [](Feed& f) { f.runningVersion = ""; }},
      {"buildZero", invalidBuild, [](Feed& f) { f.manifest.build = 0; }},
      {"runningBuildZero", invalidBuild, [](Feed& f) { f.runningBuild = 0; }},
      {"badSystemVersion", invalidMinimumSystemVersion, [](Feed& f) { f.manifest.minimumSystemVersion = "12"; }},
      {"plainHTTP", insecureArtifactURL, [](Feed& f) { f.manifest.artifactURL = "http://h/a.dmg"; }},
      {"otherExtension", unsupportedArtifact, [](Feed& f) { f.manifest.artifactURL = "https://h/a.dmg"; }},
      {"upperCaseHash", invalidArtifactHash, [](Feed& f) { f.manifest.artifactSHA256 = std::string(64, 'A'); }},
  };
  return all;
}

TEST(UpdateManifestVerifier, acceptsAValidUpdate) {
  const auto update = Feed{}.verify();
  EXPECT_EQ(update.manifest, testing::validManifest());
  EXPECT_TRUE(update.isNewer);
}

TEST(UpdateManifestVerifier, returnsTheEnvelopeAsReceived) {
  const auto expected = testing::signPayload(CanonicalUpdateManifest::encode(testing::validManifest()).value());
  EXPECT_EQ(Feed{}.verify().envelope, expected);
}

TEST(UpdateManifestVerifier, refusesEachBrokenRuleWithItsCase) {
  for (const auto& rule : rules()) {
    Feed feed;
    rule.breakRule(feed);
    EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(rule.expected)) << rule.name;
  }
}

TEST(UpdateManifestVerifier, reportsTheEarlierOfTwoBrokenRules) {
  for (std::size_t first = 0; first < rules().size(); ++first) {
    for (std::size_t second = first + 1; second < rules().size(); ++second) {
      if (rules()[first].expected == rules()[second].expected) continue;
      Feed feed;
      rules()[second].breakRule(feed);
      const auto kept = feed;
      rules()[first].breakRule(feed);
      if (feed.manifest.artifactURL != kept.manifest.artifactURL && rules()[second].expected == unsupportedArtifact) {
        feed.manifest.artifactURL = "http://h/a.dmg";  // breaks both
      }
      EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(rules()[first].expected))
          << rules()[first].name << " before " << rules()[second].name;
    }
  }
}

TEST(UpdateManifestVerifier, readsAnEnvelopeOfExactlyTheLimit) {
  Feed feed;
  feed.rewrite = [](std::string text) { return text + std::string(1'048'576 - text.size(), ' '); };
  EXPECT_TRUE(feed.verify().isNewer);
  feed.rewrite = [](std::string text) { return text + std::string(1'048'577 - text.size(), ' '); };
  EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(malformedEnvelope));
}

TEST(UpdateManifestVerifier, ignoresAnExtraMemberOfTheEnvelope) {
  Feed feed;
  feed.rewrite = [](std::string text) { return text.insert(1, "\"note\":{\"payload\":1},"); };
  EXPECT_TRUE(feed.verify().isNewer);
}

/// Each "/" of a base64 text in turn, replaced by each byte that is beyond ASCII. A decoder that compares characters as
/// signed numbers takes every such byte for a "/".
std::vector<std::string> textsWithForeignBytes(const std::string& base64) {
  std::vector<std::string> texts;
  for (auto at = base64.find('/'); at != std::string::npos; at = base64.find('/', at + 1)) {
    for (int byte = 0x80; byte <= 0xFF; ++byte)
      texts.push_back(std::string(base64).replace(at, 1, 1, static_cast<char>(byte)));
  }
  return texts;
}

TEST(UpdateManifestVerifier, refusesAKeyWithAByteBeyondASCIIAsMalformed) {
  std::uint8_t number = 1;
  while (testing::publicKeyBase64(number).find('/') == std::string::npos) ++number;
  for (const auto& text : textsWithForeignBytes(testing::publicKeyBase64(number))) {
    Feed feed;
    feed.publicKey = text;
    EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(malformedPublicKey)) << text;
  }
}

TEST(UpdateManifestVerifier, refusesAnEnvelopeWithATextBeyondASCIIAsMalformed) {
  Feed feed;
  const auto signature = [&feed] { return feed.verify().envelope.signature; };
  while (signature().find("//") == std::string::npos) ++feed.manifest.build;
  feed.tamper = [](auto& envelope) { envelope.signature.replace(envelope.signature.find("//"), 2, "\xC3\xA9"); };
  EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(malformedEnvelope));
}

TEST(UpdateManifestVerifier, refusesSignaturesOfOtherLengthsAsMalformed) {
  for (const std::size_t byteCount : {0U, 1U, 63U, 65U, 128U}) {
    Feed feed;
    feed.tamper = [&](auto& envelope) { envelope.signature = keyOf(byteCount); };
    EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(malformedEnvelope)) << byteCount;
  }
}

TEST(UpdateManifestVerifier, refusesKeysOfOtherLengthsAsMalformed) {
  for (const std::size_t byteCount : {0U, 31U, 33U, 64U}) {
    Feed feed;
    feed.publicKey = keyOf(byteCount);
    EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(malformedPublicKey)) << byteCount;
  }
}

TEST(UpdateManifestVerifier, refusesEveryChangedBitOfTheSignature) {
  const auto good = testing::signPayload(CanonicalUpdateManifest::encode(testing::validManifest()).value());
  for (std::size_t bit = 0; bit < 512; ++bit) {
    Feed feed;
    feed.tamper = [&](auto& envelope) {
      auto bytes = decodeBase64(good.signature).value();
      bytes[bit / 8] = static_cast<std::uint8_t>(bytes[bit / 8] ^ (1U << (bit % 8)));
      envelope.signature = encodeBase64(bytes);
    };
    EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(invalidSignature)) << bit;
  }
}

struct ArtifactURL {
  std::string text;
  std::optional<UpdateSecurityError> expected;
};

class UpdateManifestVerifierJudgesTheArtifactURL : public ::testing::TestWithParam<ArtifactURL> {};
TEST_P(UpdateManifestVerifierJudgesTheArtifactURL, bySchemeHostUserFragmentAndExtension) {
  Feed feed;
  feed.manifest.artifactURL = GetParam().text;
  if (GetParam().expected) {
    EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(*GetParam().expected)) << GetParam().text;
  } else {
    EXPECT_TRUE(feed.verify().isNewer) << GetParam().text;
  }
}
INSTANTIATE_TEST_SUITE_P(
    URLs, UpdateManifestVerifierJudgesTheArtifactURL,
    ::testing::Values(
        ArtifactURL{"https://h/a.zip", {}}, ArtifactURL{"HTTPS://H/A.ZIP", {}},
        ArtifactURL{"https://h:8443/a.zip?x=1", {}}, ArtifactURL{"https://[::1]/a.zip", {}},
        ArtifactURL{"https://h./a.zip", {}}, ArtifactURL{"https://h:0/a.zip", {}},
        // A host by the grammar, which the transport asks nobody for.
        ArtifactURL{"https://h%2e/a.zip", {}}, ArtifactURL{"http://h/a.zip", insecureArtifactURL},
        ArtifactURL{"ftp://h/a.zip", insecureArtifactURL}, ArtifactURL{"//h/a.zip", insecureArtifactURL},
        ArtifactURL{"a.zip", insecureArtifactURL}, ArtifactURL{"", insecureArtifactURL},
        ArtifactURL{"https:///a.zip", insecureArtifactURL}, ArtifactURL{"https:a.zip", insecureArtifactURL},
        ArtifactURL{"https://u@h/a.zip", insecureArtifactURL}, ArtifactURL{"https://u:p@h/a.zip", insecureArtifactURL},
        ArtifactURL{"https://@h/a.zip", insecureArtifactURL}, ArtifactURL{"https://:@h/a.zip", insecureArtifactURL},
        ArtifactURL{"https://h/a.zip#", insecureArtifactURL}, ArtifactURL{"https://h/a.zip#f", insecureArtifactURL},
        ArtifactURL{"https://h\\@evil/a.zip", insecureArtifactURL},
        ArtifactURL{"https://h%2/a.zip", insecureArtifactURL},
        ArtifactURL{"https://\xC3\xA4/a.zip", insecureArtifactURL},
        ArtifactURL{"https://h:443x/a.zip", insecureArtifactURL}, ArtifactURL{" https://h/a.zip", insecureArtifactURL},
        ArtifactURL{"https://h/a.zi%70", unsupportedArtifact}, ArtifactURL{"https://h/a%2Ezip", unsupportedArtifact},
        ArtifactURL{"https://h/a", unsupportedArtifact}, ArtifactURL{"https://h/.zip", unsupportedArtifact},
        ArtifactURL{"https://h/a.zip.exe", unsupportedArtifact}, ArtifactURL{"https://h/?a.zip", unsupportedArtifact},
        ArtifactURL{"https://h.zip", unsupportedArtifact}));

TEST(UpdateManifestVerifier, wantsTheHashInLowerCaseAndOfFullLength) {
  const std::string good(64, 'a');
  for (const auto& bad : {std::string(63, 'a'), std::string(65, 'a'), std::string(64, 'g'), std::string(64, 'F'),
                          std::string(), good.substr(0, 62) + "\xC3\xA4"}) {
    Feed feed;
    feed.manifest.artifactSHA256 = bad;
    EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(invalidArtifactHash)) << bad;
  }
}

struct Offer {
  const char* running;
  std::int64_t runningBuild;
  const char* offered;
  std::int64_t offeredBuild;
  bool isNewer;
};

TEST(UpdateManifestVerifier, decidesWhatIsNewer) {
  const Offer offers[] = {{"1.2.0", 10, "1.2.0", 11, true},           {"1.2.0", 10, "1.2.0", 10, false},
                          {"1.2.0", 11, "1.2.0", 10, false},          {"1.2.0-beta.1", 12, "1.2.0", 11, true},
                          {"1.2.0-rc.2", 5, "1.2.0-rc.1", 11, false}, {"1.2.0-rc.1", 5, "1.2.0-rc.2", 1, true},
                          {"1.2.0-rc.1", 5, "1.2.0-rc.1", 6, true},   {"1.2.0", 5, "1.2.0-rc.1", 6, false},
                          {"1.3.0", 5, "1.2.9", 99, false},           {"1.2.0", 99, "1.2.1", 1, true},
                          {"1.2.0+a", 10, "1.2.0+b", 11, true},       {"1.2.0+a", 10, "1.2.0+b", 10, false}};
  for (const auto& offer : offers) {
    Feed feed;
    feed.runningVersion = offer.running;
    feed.runningBuild = offer.runningBuild;
    feed.manifest.version = offer.offered;
    feed.manifest.build = offer.offeredBuild;
    EXPECT_EQ(feed.verify().isNewer, offer.isNewer) << offer.running << " -> " << offer.offered;
  }
}

TEST(UpdateManifestVerifier, acceptsAnOldEnvelopeAgain) {
  // Nothing in a manifest says how old it is: a feed that is frozen at a good release cannot be told from a quiet one.
  // What is refused is going back: the envelope is then no longer newer.
  Feed feed;
  EXPECT_TRUE(feed.verify().isNewer);
  EXPECT_TRUE(feed.verify().isNewer);
  feed.runningVersion = "2.4.1";
  EXPECT_FALSE(feed.verify().isNewer);
}

TEST(UpdateManifestVerifier, comparesIdentifiersByteByByte) {
  for (const char* other : {"com.brindlewick.App", "com.brindlewick.app ", "com.brindlewick.ap", ""}) {
    Feed feed;
    feed.manifest.appIdentifier = other;
    EXPECT_THAT([&] { static_cast<void>(feed.verify()); }, fails(wrongApplication)) << other;
  }
}

TEST(UpdateSecurityErrorSentences, areTheFixedOnes) {
  const char* sentences[] = {"The update manifest is malformed.",
                             "This build has an invalid update verification key.",
                             "The update manifest signature is invalid.",
                             "The signed update manifest is not canonical.",
                             "The update manifest format is unsupported.",
                             "The update is intended for a different application.",
                             "The update contains an invalid semantic version.",
                             "The update contains an invalid build number.",
                             "The update contains an invalid system requirement.",
                             "The update artifact does not use a secure HTTPS URL.",
                             "The update artifact is not a supported archive.",
                             "The update artifact hash is malformed.",
                             "The downloaded update failed its signed hash check.",
                             "The update requires a newer version of macOS.",
                             "The update staging directory is unsafe."};
  for (std::size_t i = 0; i < std::size(sentences); ++i)
    EXPECT_EQ(describe(static_cast<UpdateSecurityError>(i)), sentences[i]);
}

}  // namespace
}  // namespace brindlewick
