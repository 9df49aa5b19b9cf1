#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "support/codesign/ByteWriter.h"
#include "unit/codesign/MessageWorld.h"

namespace brindlewick::testing {
namespace {

std::function<void(MessageWorld&)> spoiled(void (*change)(Bytes&)) {
  return [change](MessageWorld& world) { world.message.spoil = change; };
}

constexpr const char* contentType = "1.2.840.113549.1.9.3";
constexpr const char* messageDigest = "1.2.840.113549.1.9.4";
constexpr const char* signingTime = "1.2.840.113549.1.9.5";

constexpr const char* ecdsaWithSHA384 = "1.2.840.10045.4.3.3";
constexpr const char* sha256WithRSA = "1.2.840.113549.1.1.11";

const MessageCase shapes[] = {
    {"aGoodMessage", content, [](MessageWorld&) {}, flipDirectory},
    {"noBytes", "a range lies inside its bytes", spoiled([](Bytes& b) { b.clear(); })},
    {"otherBytes", "a range lies inside its bytes", spoiled([](Bytes& b) { b.assign(1, 0x30); })},
    {"aCutMessage", "an element lies inside its bytes", spoiled([](Bytes& b) { b.pop_back(); })},
    {"zerosBehindTheMessage", "only zeros follow a message", spoiled([](Bytes& b) { b.resize(b.size() + 64); }),
     [](MessageWorld& w) { w.bytes.back() = 1; }},
    {"moreThan4MiB", "a message has at most 4 MiB", spoiled([](Bytes& b) { b.resize(4 * 1024 * 1024); }),
     [](MessageWorld& w) { w.bytes.push_back(0); }},
    {"indefiniteLengths", content, message([](MessageShape& m) { m.outerLengths = der::Length::indefinite; }),
     flipDirectory},
    {"noEndMark", "a range lies inside its bytes", message([](MessageShape& m) {
       m.outerLengths = der::Length::indefinite;
       m.spoil = [](Bytes& b) { b.erase(b.end() - 2, b.end()); };
     })},
    {"anRSAKey", content, [](MessageWorld& w) { w.certificates.leaf.keyName = "rsa leaf"; }, flipDirectory},
    {"aMessageOfSHA384", content, message([](MessageShape& m) { m.digest = "sha384"; }), flipDirectory},
    {"aMessageOfSHA1", "a message has a digest of SHA-2", message([](MessageShape& m) { m.digest = "sha1"; })},
    {"aSignatureAlgorithmOfAnotherDigest", "the signature algorithm uses the digest of the signer",
     message([](MessageShape& m) { m.signatureAlgorithm = ecdsaWithSHA384; })},
    {"aSignatureAlgorithmOfAnotherKey", "the signature algorithm is one of the signer's key",
     message([](MessageShape& m) { m.signatureAlgorithm = sha256WithRSA; })},
    {"anUnknownSignatureAlgorithm", "the signature algorithm is known",
     message([](MessageShape& m) { m.signatureAlgorithm = "1.2.3.4"; })},
    {"aSignatureAlgorithmOfDSA", "a signature is one of RSA or ECDSA",
     message([](MessageShape& m) { m.signatureAlgorithm = "2.16.840.1.101.3.4.3.2"; })},
    {"anRSAKeyAndItsDigest", content,
     [](MessageWorld& w) {
       w.certificates.leaf.keyName = "rsa leaf";
       w.message.signatureAlgorithm = sha256WithRSA;
     },
     flipDirectory},
    {"anRSAKeyAndAnotherDigest", "the signature algorithm uses the digest of the signer",
     [](MessageWorld& w) {
       w.certificates.leaf.keyName = "rsa leaf";
       w.message.digest = "sha384";
       w.message.signatureAlgorithm = sha256WithRSA;
     }},
    {"embeddedContent", "the content of a message is detached",
     message([](MessageShape& m) { m.embedsContent = true; })},
    {"twoSigners", "an element stands alone", message([](MessageShape& m) { m.signerCount = 2; })},
    {"noSigner", "a range lies inside its bytes", message([](MessageShape& m) { m.signerCount = 0; })},
    {"noSignedAttributes", "an element has the tag of its place",
     message([](MessageShape& m) { m.hasAttributes = false; })},
    {"anotherContentType", "a message has content of the expected type",
     message([](MessageShape& m) { m.contentType = "1.2.840.113549.1.7.5"; })},
};

const MessageCase signedAttributes[] = {
    {"anotherDigest", content, attributes([](std::vector<Bytes>& all) {
       removeAttribute(all, messageDigest);
       all.push_back(attribute(messageDigest, {der::octets(Bytes(32, 7))}));
     })},
    {"anEmptyDigest", content, attributes([](std::vector<Bytes>& all) {
       removeAttribute(all, messageDigest);
       all.push_back(attribute(messageDigest, {der::octets({})}));
     })},
    {"noDigest", "the signed attributes hold the digest of the content",
     attributes([](std::vector<Bytes>& all) { removeAttribute(all, messageDigest); })},
    {"twoDigests", "a signed attribute stands once", attributes([](std::vector<Bytes>& all) {
       const Bytes digest = removeAttribute(all, messageDigest);
       all.insert(all.end(), {digest, digest});
     })},
    {"aDigestOfTwoValues", "an element stands alone", attributes([](std::vector<Bytes>& all) {
       Bytes value = removeAttribute(all, messageDigest);
       value.erase(value.begin(), value.end() - 34);
       all.push_back(attribute(messageDigest, {value, value}));
     })},
    {"aDigestWithoutAValue", "a range lies inside its bytes", attributes([](std::vector<Bytes>& all) {
       removeAttribute(all, messageDigest);
       all.push_back(attribute(messageDigest, {}));
     })},
    {"noContentType", "the signed attributes name the type of the content",
     attributes([](std::vector<Bytes>& all) { removeAttribute(all, contentType); })},
    {"attributesAboutAnotherType", "the attributes are about content of that type",
     attributes([](std::vector<Bytes>& all) {
       removeAttribute(all, contentType);
       all.push_back(attribute(contentType, {der::oid("1.2.840.113549.1.7.2")}));
     })},
    {"twoContentTypes", "a signed attribute stands once", attributes([](std::vector<Bytes>& all) {
       all.push_back(attribute(contentType, {der::oid("1.2.840.113549.1.7.1")}));
     })},
    {"twoSigningTimes", "a signed attribute stands once",
     [](MessageWorld& w) {
       w.message.timestamp.reset();
       w.message.editAttributes = [](std::vector<Bytes>& all) {
         all.push_back(attribute(signingTime, {der::utcTime(day(2026, 1, 1))}));
       };
     }},
    {"aSigningTimeThatIsNone", "the signing time is one time",
     [](MessageWorld& w) {
       w.message.timestamp.reset();
       w.message.editAttributes = [](std::vector<Bytes>& all) {
         removeAttribute(all, signingTime);
         all.push_back(attribute(signingTime, {der::null()}));
       };
     }},
    {"anAttributeOfThreeParts", "an attribute is an identifier and its values", attributes([](std::vector<Bytes>& all) {
       all.push_back(der::sequence({der::oid("1.2.3.4"), der::set({der::null()}), der::null()}));
     })},
    {"anUnknownAttribute", signature,
     attributes([](std::vector<Bytes>& all) { all.push_back(attribute("1.2.3.4", {der::octets(Bytes{'x'})})); }),
     [](MessageWorld& w) { w.flipAt(der::octets(Bytes{'x'}), 2); }},
    {"theSignature", signature, message([](MessageShape& m) { m.timestamp.reset(); }), flipSignature},
    {"theOrderOfTheAttributes", signature,
     message([](MessageShape& m) { m.editAttributes = [](std::vector<Bytes>& all) { std::ranges::reverse(all); }; }),
     [](MessageWorld& w) { w.flipAt(der::oid(signingTime), 16); }},
};

class SignedMessages : public ::testing::TestWithParam<MessageCase> {};
TEST_P(SignedMessages, areJudgedByTheirRules) { judge(GetParam()); }

const auto caseName = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Shape, SignedMessages, ::testing::ValuesIn(shapes), caseName);
INSTANTIATE_TEST_SUITE_P(Attributes, SignedMessages, ::testing::ValuesIn(signedAttributes), caseName);

TEST(SignedMessage, namesItsSigner) {
  MessageWorld world;
  world.sign();
  const codesign::Signer signer = world.verify();
  ASSERT_EQ(signer.chain.size(), 3U);
  EXPECT_EQ(signer.chain[0].subjectValues("OU"), std::vector<std::string>{"TEAM123456"});
  EXPECT_TRUE(signer.chain[1].hasExtension("1.2.840.113635.100.6.2.6"));
  EXPECT_EQ(signer.chain[2].subjectValues("CN"), std::vector<std::string>{"Test Root CA"});
  EXPECT_TRUE(signer.isAnchored);
}

TEST(SignedMessage, takesTheSignatureOfAnotherDirectoryForNone) {
  MessageWorld world;
  world.sign();
  std::swap(world.directories.front(), world.directories.emplace_back(Bytes{'x'}));
  world.directories.pop_back();
  EXPECT_EQ(world.brokenRule(), content);
}

TEST(SignedMessage, isNeverAcceptedForOtherBytesOfItsAttributes) {
  MessageWorld world;
  world.sign();
  const std::size_t begin = positionOf(world.bytes, der::oid(contentType));
  const std::size_t end = positionOf(world.bytes, der::oid("1.2.840.113635.100.9.2"));
  ASSERT_LT(begin, end);
  for (std::size_t at = begin; at < end; ++at) {
    MessageWorld changed = world;
    changed.bytes[at] ^= 0x10;
    EXPECT_NE(changed.brokenRule(), "") << at;
  }
}

TEST(SignedMessage, carriesAtMost32Certificates) {
  MessageWorld world;
  const Bytes stranger = TestPKI::issued(PKIShape::developerID("TEAM654321", " of others")).leaf.certificate;
  world.message.furtherCertificates.assign(29, stranger);
  world.sign();
  EXPECT_EQ(world.brokenRule(), "");
  world.message.furtherCertificates.push_back(stranger);
  world.sign();
  EXPECT_EQ(world.brokenRule(), "a message carries few certificates");
}

}  // namespace
}  // namespace brindlewick::testing
