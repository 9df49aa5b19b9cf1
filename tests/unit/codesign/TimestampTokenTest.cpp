#include "platform/linux/codesign/TimestampToken.h"

#include <gtest/gtest.h>

#include "support/codesign/ByteWriter.h"
#include "unit/codesign/MessageWorld.h"

namespace brindlewick::testing {
namespace {

std::function<void(MessageWorld&)> stamp(void (*change)(TimestampShape&)) {
  return [change](MessageWorld& world) { change(world.message.timestamp.value()); };
}

std::function<void(MessageWorld&)> authority(void (*change)(CertificateShape&)) {
  return [change](MessageWorld& world) { change(world.certificates.timestampLeaf); };
}

std::function<void(MessageWorld&)> stampedAt(der::Time time) {
  return [time](MessageWorld& world) {
    world.certificates.timestampLeaf.notBefore = day(2020, 1, 1);
    world.certificates.timestampLeaf.notAfter = day(2040, 1, 1);
    world.message.timestamp->time = time;
  };
}

std::function<void(MessageWorld&)> unstampedAt(der::Time time) {
  return [time](MessageWorld& world) {
    world.message.timestamp.reset();
    world.message.signingTime = time;
  };
}

std::function<void(MessageWorld&)> unsignedAttribute(const Bytes& encoding) {
  return [encoding](MessageWorld& world) { world.message.unsignedAttribute = encoding; };
}

constexpr const char* tokenAttribute = "1.2.840.113549.1.9.16.2.14";

void makeRSA(MessageWorld& world) { world.certificates.timestampLeaf.keyName = "rsa timestamp leaf"; }

TestPKI others() { return TestPKI::issued(PKIShape::developerID("TEAM123456", " of others")); }

constexpr const char* imprint = "a token is about this signature";

/// The serial number of the token, which the digest in its own attributes covers.
void flipToken(MessageWorld& world) { world.flipAt(der::integer(4711), 3); }

const MessageCase tokens[] = {
    {"aGoodToken", content, [](MessageWorld&) {}, flipToken},
    {"theSignatureOfTheToken", signature, [](MessageWorld&) {}, flipSignature},
    {"unsignedAttributesWithoutAToken", "unsigned attributes hold a timestamp token",
     unsignedAttribute(attribute("1.2.3.4", {der::null()}))},
    {"noUnsignedAttributeInTheirList", "unsigned attributes hold a timestamp token", unsignedAttribute(Bytes())},
    {"twoTokens", "unsigned attributes hold one timestamp token",
     unsignedAttribute(
         der::join({attribute(tokenAttribute, {der::null()}), attribute(tokenAttribute, {der::null()})}))},
    {"aTokenAttributeOfTwoValues", "the timestamp attribute has one value",
     unsignedAttribute(attribute(tokenAttribute, {der::sequence({}), der::sequence({})}))},
    {"aTokenThatIsNoSequence", "a timestamp token is a sequence",
     unsignedAttribute(attribute(tokenAttribute, {der::null()}))},
    {"anEmptyToken", "a range lies inside its bytes",
     unsignedAttribute(attribute(tokenAttribute, {der::sequence({})}))},
    {"aTokenOfVersion2", "the content of a token has version 1", stamp([](TimestampShape& t) { t.version = 2; })},
    {"aTokenOverOtherBytes", imprint, stamp([](TimestampShape& t) { t.spoilImprint = true; })},
    {"anImprintOfSHA1", content, stamp([](TimestampShape& t) { t.imprintDigest = "sha1"; }), flipToken},
    {"anImprintOfSHA384", "an imprint is one of SHA-256 or SHA-1",
     stamp([](TimestampShape& t) { t.imprintDigest = "sha384"; })},
    {"aTokenOfSHA384", content, stamp([](TimestampShape& t) { t.digest = "sha384"; }), flipToken},
    {"aTokenOfSHA1", content,
     [](MessageWorld& w) {
       makeRSA(w);
       w.message.timestamp->digest = w.message.timestamp->imprintDigest = "sha1";
     },
     flipToken},
    {"aTokenOfSHA1AndECDSA", content, stamp([](TimestampShape& t) { t.digest = "sha1"; }), flipToken},
    {"anAuthorityForCode", chain, authority([](CertificateShape& c) { c.extendedKeyUsage = "codeSigning"; })},
    {"anAuthorityForAnything", chain,
     authority([](CertificateShape& c) { c.extendedKeyUsage = "critical,anyExtendedKeyUsage"; })},
    {"anAuthorityForTwoThings", chain,
     authority([](CertificateShape& c) { c.extendedKeyUsage = "critical,timeStamping,codeSigning"; })},
    {"anAuthorityThatDoesNotSayItStrictly", chain,
     authority([](CertificateShape& c) { c.extendedKeyUsage = "timeStamping"; })},
    {"anAuthorityForNothing", chain, authority([](CertificateShape& c) { c.extendedKeyUsage = ""; })},
    {"anAuthorityUnderOneForCode", "an issuer that names extended key usages names this one",
     [](MessageWorld& w) { w.certificates.timestampAuthority.extendedKeyUsage = "codeSigning"; }},
    {"anAuthorityUnderOneForTimestamps", content,
     [](MessageWorld& w) { w.certificates.timestampAuthority.extendedKeyUsage = "timeStamping"; }, flipToken},
    {"anAuthorityUnderNone", chain, [](MessageWorld& w) { w.certificates.timestampAuthority.authority = false; }},
    {"underAnotherRoot", "anchored code has an anchored timestamp",
     [](MessageWorld& w) { w.message.timestamp->pki = others(); }},
    {"bothUnderAnotherRoot", content, [](MessageWorld& w) { w.message.pki = w.message.timestamp->pki = others(); },
     flipToken},
};

const MessageCase times[] = {
    {"expiredSinceTheTimestamp", content, [](MessageWorld& w) { w.now = day(2041, 1, 1); }, flipToken},
    {"stampedAfterTheEnd", chain, stampedAt(day(2030, 6, 1))},
    {"stampedBeforeTheBeginning", chain, stampedAt(day(2024, 6, 1))},
    {"stampedAfterTheEndOfTheIntermediate", chain,
     [](MessageWorld& w) { w.certificates.intermediate.notAfter = day(2026, 1, 10); }},
    {"stampedAfterTheEndOfTheRoot", chain, [](MessageWorld& w) { w.certificates.root.notAfter = day(2026, 1, 10); }},
    {"stampedAfterTheAuthoritysEnd", chain,
     [](MessageWorld& w) { w.certificates.timestampLeaf.notAfter = day(2026, 1, 10); }},
    {"stampedBeforeTheAuthority", chain,
     [](MessageWorld& w) { w.certificates.timestampLeaf.notBefore = day(2026, 1, 20); }},
    {"theAuthorityHasExpiredSince", content,
     [](MessageWorld& w) { w.certificates.timestampLeaf.notAfter = day(2026, 2, 1); }, flipToken},
    {"stampedASecondBeforeItWasSigned", content,
     [](MessageWorld& w) { w.message.timestamp->time = day(2026, 1, 15) - std::chrono::seconds(1); }, flipToken},
    {"noTimestamp", signature, unstampedAt(day(2026, 1, 1)), flipSignature},
    {"noTimeAtAll", signature,
     [](MessageWorld& w) {
       w.message.timestamp.reset();
       w.message.signingTime.reset();
     },
     flipSignature},
    {"expiredWhenSigned", signature, unstampedAt(day(2031, 1, 1)), flipSignature},
    {"signedBeforeTheBeginning", signature, unstampedAt(day(2024, 1, 1)), flipSignature},
    {"expiredWhenSignedAndExpirationEnforced", chain,
     [](MessageWorld& w) {
       unstampedAt(day(2031, 1, 1))(w);
       w.rules.expirationIsEnforced = true;
     }},
    {"expiredNowAndExpirationEnforced", chain,
     [](MessageWorld& w) {
       unstampedAt({})(w);
       w.message.signingTime.reset();
       w.now = day(2031, 1, 1);
       w.rules.expirationIsEnforced = true;
     }},
    {"inTimeAndExpirationEnforced", signature,
     [](MessageWorld& w) {
       unstampedAt(day(2026, 1, 1))(w);
       w.now = day(2031, 1, 1);
       w.rules.expirationIsEnforced = true;
     },
     flipSignature},
    {"expiredSinceTheTimestampAndExpirationEnforced", content,
     [](MessageWorld& w) {
       w.now = day(2031, 1, 1);
       w.rules.expirationIsEnforced = true;
     },
     flipToken},
};

class TimestampTokens : public ::testing::TestWithParam<MessageCase> {};
TEST_P(TimestampTokens, areJudgedByTheirRules) { judge(GetParam()); }

const auto caseName = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Token, TimestampTokens, ::testing::ValuesIn(tokens), caseName);
INSTANTIATE_TEST_SUITE_P(Time, TimestampTokens, ::testing::ValuesIn(times), caseName);

TEST(TimestampToken, cannotBeMovedToAnotherSignature) {
  MessageWorld first;
  first.sign();
  MessageWorld second;
  second.message.signingTime = day(2026, 1, 16);
  const Bytes identifier = der::oid(tokenAttribute);
  const auto token = first.bytes.begin() + static_cast<std::ptrdiff_t>(positionOf(first.bytes, identifier));
  // From its identifier on, the attribute is the last thing in a message.
  second.message.unsignedAttribute = der::sequence({Bytes(token, first.bytes.end())});
  second.sign();
  EXPECT_EQ(second.brokenRule(), imprint);
}

}  // namespace
}  // namespace brindlewick::testing
