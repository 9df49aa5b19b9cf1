#include "platform/linux/codesign/CertificateChain.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/linux/codesign/Refusal.h"
#include "unit/codesign/MessageWorld.h"

namespace brindlewick::testing {
namespace {

using codesign::Certificate;
using codesign::CertificateChain;
using codesign::ChainPolicy;
using codesign::ChainPurpose;

std::function<void(MessageWorld&)> leaf(void (*change)(CertificateShape&)) {
  return [change](MessageWorld& world) { change(world.certificates.leaf); };
}

std::function<void(MessageWorld&)> intermediate(void (*change)(CertificateShape&)) {
  return [change](MessageWorld& world) { change(world.certificates.intermediate); };
}

std::function<void(MessageWorld&)> root(void (*change)(CertificateShape&)) {
  return [change](MessageWorld& world) { change(world.certificates.root); };
}

/// Changes a byte of an extension's identifier in the embedded leaf.
std::function<void(MessageWorld&)> flipExtension(const char* oid) {
  return [oid](MessageWorld& world) { world.flipAt(der::oid(oid), der::oid(oid).size() - 1); };
}

constexpr const char* usageOfIssuer = "an issuer that names extended key usages names this one";

/// ECDSA goes with digests of the SHA families only.
std::function<void(MessageWorld&)> leafOver(const std::string& digest) {
  return [digest](MessageWorld& world) {
    world.certificates.intermediate.keyName = "rsa intermediate";
    world.certificates.leaf.issuersDigest = digest;
  };
}

const MessageCase chains[] = {
    {"noRoot", chain, [](MessageWorld& w) { w.message.embedsRoot = false; }},
    {"noIntermediate", chain, [](MessageWorld& w) { w.message.embedsIntermediate = false; }},
    {"aSpoiledLeaf", chain, [](MessageWorld&) {}, flipExtension("1.2.840.113635.100.6.1.13")},
    {"aSpoiledIntermediate", chain, [](MessageWorld&) {}, flipExtension("1.2.840.113635.100.6.2.6")},
    {"intermediateIsNoAuthority", chain, intermediate([](CertificateShape& c) { c.authority = false; })},
    {"intermediateWithoutConstraints", chain, intermediate([](CertificateShape& c) { c.authority.reset(); })},
    {"intermediateMayNotSignCertificates", chain,
     intermediate([](CertificateShape& c) { c.keyUsage = "digitalSignature"; })},
    {"intermediateForServersOnly", usageOfIssuer,
     intermediate([](CertificateShape& c) { c.extendedKeyUsage = "serverAuth"; })},
    {"intermediateForCode", chain, intermediate([](CertificateShape& c) { c.extendedKeyUsage = "codeSigning"; }),
     flipExtension("1.2.840.113635.100.6.2.6")},
    {"intermediateForAnything", chain,
     intermediate([](CertificateShape& c) { c.extendedKeyUsage = "anyExtendedKeyUsage"; }),
     flipExtension("1.2.840.113635.100.6.2.6")},
    {"rootIsNoAuthority", chain, root([](CertificateShape& c) { c.authority = false; })},
    {"rootWithoutConstraints", "an issuer is a certification authority",
     root([](CertificateShape& c) { c.authority.reset(); })},
    {"noExtendedKeyUsage", "the leaf may sign code", leaf([](CertificateShape& c) { c.extendedKeyUsage = ""; })},
    {"forServersOnly", "the leaf may sign code", leaf([](CertificateShape& c) { c.extendedKeyUsage = "serverAuth"; })},
    {"forAnythingOnly", "the leaf may sign code",
     leaf([](CertificateShape& c) { c.extendedKeyUsage = "anyExtendedKeyUsage"; })},
    {"forServersAndCode", chain, leaf([](CertificateShape& c) { c.extendedKeyUsage = "serverAuth,codeSigning"; }),
     flipExtension("1.2.840.113635.100.6.1.13")},
    {"noKeyUsage", "the leaf names its key usages", leaf([](CertificateShape& c) { c.keyUsage = ""; })},
    {"forEncryptionOnly", "the leaf may sign data", leaf([](CertificateShape& c) { c.keyUsage = "keyEncipherment"; })},
    {"forNonRepudiation", chain, leaf([](CertificateShape& c) { c.keyUsage = "nonRepudiation"; }),
     flipExtension("1.2.840.113635.100.6.1.13")},
    {"anUnknownCriticalExtension", chain, leaf([](CertificateShape& c) {
       c.extensions.push_back({"1.2.3.4", true, der::null()});
     })},
    {"anUnknownExtensionThatIsNotCritical", chain, leaf([](CertificateShape& c) {
       c.extensions.push_back({"1.2.3.4", false, der::null()});
     }),
     flipExtension("1.2.3.4")},
    {"anUnknownCriticalExtensionBesideOneOfApple", chain, leaf([](CertificateShape& c) {
       c.extensions.insert(c.extensions.begin(), {"1.2.3.4", true, der::null()});
     })},
    {"twoCriticalExtensionsOfApple", chain, leaf([](CertificateShape& c) {
       c.extensions.push_back({"1.2.840.113635.100.6.1.18", true, der::null()});
     }),
     flipExtension("1.2.840.113635.100.6.1.18")},
    {"criticalExtensionsUnderEachKnownArc", chain, leaf([](CertificateShape& c) {
       for (const char* arc : {"6", "11", "12", "13", "15"})
         c.extensions.push_back({"1.2.840.113635.100." + std::string(arc) + ".99", true, der::null()});
     }),
     flipExtension("1.2.840.113635.100.15.99")},
    {"aCriticalExtensionUnderAnotherArcOfApple", chain, leaf([](CertificateShape& c) {
       c.extensions.push_back({"1.2.840.113635.100.7.1", true, der::null()});
     })},
    {"aCriticalExtensionWithAnArcThatOnlyBeginsAlike", chain, leaf([](CertificateShape& c) {
       c.extensions.push_back({"1.2.840.113635.100.134.1", true, der::null()});
     })},
    {"anUnknownCriticalExtensionOfTheIntermediate", chain, intermediate([](CertificateShape& c) {
       c.extensions.push_back({"1.2.3.4", true, der::null()});
     })},
    {"aLeafSignedOverSHA1", chain, leafOver("sha1"), flipExtension("1.2.840.113635.100.6.1.13")},
    {"aLeafSignedOverMD5", "the signature of a certificate has a strong digest", leafOver("md5")},
    {"anIntermediateSignedOverMD5", "the signature of a certificate has a strong digest",
     [](MessageWorld& w) {
       w.certificates.root.keyName = "rsa root";
       w.certificates.intermediate.issuersDigest = "md5";
     }},
    {"aWeakKey", "the key of a certificate is strong", leaf([](CertificateShape& c) { c.keyName = "weak leaf"; })},
};

class Chains : public ::testing::TestWithParam<MessageCase> {};
TEST_P(Chains, areJudgedByTheirRules) { judge(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, Chains, ::testing::ValuesIn(chains),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Chain, endsInAnyRootThatIsEmbeddedAndSaysWhetherItIsAnAnchor) {
  MessageWorld world;
  world.message.pki = TestPKI::issued(PKIShape::developerID("TEAM123456", " of others"));
  world.sign();
  const codesign::Signer signer = world.verify();
  EXPECT_EQ(signer.chain.size(), 3U);
  EXPECT_FALSE(signer.isAnchored);
}

/// The certificates of a ticket: a root that is not embedded, and a leaf that says nothing about its purpose.
class TicketChain : public ::testing::Test {
 protected:
  static Certificate certificate(const Identity& identity) {
    return Certificate::fromDER(identity.certificate).value();
  }

  [[nodiscard]] std::string brokenRule() const {
    try {
      static_cast<void>(chainOf());
      return "";
    } catch (const codesign::Refusal& refusal) {
      return refusal.what();
    }
  }

  [[nodiscard]] CertificateChain chainOf() const {
    const std::vector<Certificate> embedded = {certificate(pki.ticketLeaf), certificate(pki.ticketAuthority),
                                               certificate(pki.ticketRoot)};
    return codesign::certificateChain(embedded.front(), std::span(embedded).first(embeddedCount), policy,
                                      {roots.front().fingerprint()});
  }

  TestPKI pki = TestPKI::issued(PKIShape::developerID());
  std::vector<Certificate> roots = {certificate(pki.ticketRoot)};
  std::size_t embeddedCount = 2;
  ChainPolicy policy{ChainPurpose::anything, day(2026, 1, 15), false, roots};
};

TEST_F(TicketChain, isCompletedByAFurtherRoot) {
  const CertificateChain chain = chainOf();
  EXPECT_EQ(chain.certificates.size(), 3U);
  EXPECT_EQ(chain.certificates.back().fingerprint(), roots.front().fingerprint());
  EXPECT_TRUE(chain.isAnchored);
}

TEST_F(TicketChain, isCompletedByAnEmbeddedRootOnly) {
  policy.roots = {};
  EXPECT_EQ(brokenRule(), chain);
  embeddedCount = 3;
  EXPECT_EQ(brokenRule(), "");
}

TEST_F(TicketChain, isNotCompletedByAnotherRoot) {
  const std::vector<Certificate> others = {certificate(pki.root)};
  policy.roots = others;
  EXPECT_EQ(brokenRule(), chain);
}

TEST_F(TicketChain, isNotCompletedByACertificateThatIsNoRoot) {
  const std::vector<Certificate> noRoots = {certificate(pki.ticketAuthority)};
  policy.roots = noRoots;
  EXPECT_EQ(brokenRule(), chain);
}

TEST_F(TicketChain, isJudgedAtTheTimeThatIsAskedFor) {
  policy.time = day(2024, 12, 31);
  EXPECT_EQ(brokenRule(), chain);
  policy.time = day(2030, 1, 2);
  EXPECT_EQ(brokenRule(), chain);
  policy.acceptsOutdated = true;
  EXPECT_EQ(brokenRule(), "");
}

TEST_F(TicketChain, isNotGoodForCodeOrTimestamps) {
  policy.purpose = ChainPurpose::codeSigning;
  EXPECT_EQ(brokenRule(), "the leaf may sign code");
  policy.purpose = ChainPurpose::timeStamping;
  EXPECT_EQ(brokenRule(), chain);
}

/// A chain with two authorities between root and leaf, of which the upper one limits how many may stand below it.
std::size_t lengthOfChainUnder(std::uint64_t pathLength) {
  PKIShape shape = PKIShape::developerID();
  shape.intermediate.authority.reset();
  shape.intermediate.extensions = {
      {"2.5.29.19", true, der::sequence({Bytes{0x01, 0x01, 0xFF}, der::integer(pathLength)})}};
  CertificateShape lowerShape = PKIShape::developerID().intermediate;
  lowerShape.subject = {{"CN", "Test Lower Authority"}};
  lowerShape.keyName = "lower authority";
  const Identity root = issue(shape.root, nullptr);
  const Identity upper = issue(shape.intermediate, &root);
  const Identity lower = issue(lowerShape, &upper);
  std::vector<Certificate> embedded;
  for (const Identity& identity : {issue(shape.leaf, &lower), lower, upper, root})
    embedded.push_back(Certificate::fromDER(identity.certificate).value());
  return codesign::certificateChain(embedded.front(), embedded, {.time = day(2026, 1, 1)}, {}).certificates.size();
}

TEST(Chain, respectsThePathLengthOfAnAuthority) {
  EXPECT_EQ(lengthOfChainUnder(1), 4U);
  EXPECT_THROW(static_cast<void>(lengthOfChainUnder(0)), codesign::Refusal);
}

}  // namespace
}  // namespace brindlewick::testing
