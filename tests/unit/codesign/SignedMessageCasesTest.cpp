#include <memory>

#include "support/codesign/ByteWriter.h"
#include "unit/codesign/SigningCase.h"

namespace brindlewick::testing {
namespace {

std::function<void(World&)> message(void (*change)(MessageShape&)) {
  return [change](World& world) { world.eachMessage(change); };
}

std::function<void(World&)> spoiled(void (*change)(Bytes&)) {
  return [change](World& world) { world.eachMessage([=](MessageShape& m) { m.spoil = change; }); };
}

/// Leaves the signature as it is and stamps it at this time.
std::function<void(World&)> stampedAt(der::Time time) {
  return [time](World& world) {
    world.certificates.timestampLeaf.notBefore = day(2020, 1, 1);
    world.certificates.timestampLeaf.notAfter = day(2040, 1, 1);
    world.eachMessage([=](MessageShape& m) { m.timestamp->time = time; });
  };
}

std::function<void(World&)> unstampedAt(der::Time time) {
  return [time](World& world) {
    world.eachMessage([=](MessageShape& m) {
      m.timestamp.reset();
      m.signingTime = time;
    });
  };
}

/// Leaves the timestamp out and claims this time, an encoded one.
std::function<void(World&)> claims(const Bytes& time) {
  return [time](World& world) {
    world.eachMessage([&](MessageShape& m) {
      m.timestamp.reset();
      m.signingTime.reset();
      m.editAttributes = [time](std::vector<Bytes>& all) {
        all.push_back(der::sequence({der::oid("1.2.840.113549.1.9.5"), der::set({time})}));
      };
    });
  };
}

/// In either form (UTCTime and GeneralizedTime).
Bytes utcText(std::string_view text) { return der::element(0x17, asBytes(text)); }
Bytes generalizedText(std::string_view text) { return der::element(0x18, asBytes(text)); }

/// The tag behind the identifier of the attribute becomes that of a primitive element.
void spoilUnsignedSet(Bytes& bytes) {
  const Bytes identifier = der::oid("1.2.840.113549.1.9.16.2.14");
  bytes.at(positionOf(bytes, identifier) + identifier.size()) ^= 0x20;
}

void removeMessage(SlotBlobs& blobs) {
  std::erase_if(blobs, [](const auto& entry) { return entry.first == messageSlot; });
}

/// The second slice carries the message of the first one.
void swapMessages(World& world) {
  const auto first = std::make_shared<Bytes>();
  world.slice(0).signature.message.spoil = [first](Bytes& bytes) { *first = bytes; };
  world.slice(1).signature.message.spoil = [first](Bytes& bytes) { bytes = *first; };
}

void expireSignatures(World& world) {
  unstampedAt(day(2031, 1, 1))(world);
  world.eachDirectory([](DirectoryShape& d) { d.flags |= 0x400; });
}

void stampInAnotherWorld(World& world) {
  const TestPKI other = TestPKI::issued(PKIShape::developerID("TEAM123456", " of others"));
  world.eachMessage([&](MessageShape& m) { m.timestamp->pki = other; });
}

void stampWithSHA1(World& world) {
  world.certificates.timestampLeaf.keyName = "rsa timestamp leaf";
  world.eachMessage([](MessageShape& m) { m.timestamp->digest = m.timestamp->imprintDigest = "sha1"; });
}

void flipMessage(World& world) { world.flipBlob(0, messageSlot, 200); }

const std::vector<SigningCase> cases = {
    {22, "noMessage", invalid,
     [](World& w) { w.eachSlice([](SliceShape& s) { s.signature.editBlobs = removeMessage; }); }},
    {22, "emptyMessage", invalid, spoiled([](Bytes& b) { b.clear(); })},
    {22, "randomBytes", invalid, spoiled([](Bytes& b) { b.assign(500, 0x5A); })},
    {22, "cutMessage", invalid, spoiled([](Bytes& b) { b.pop_back(); })},
    {22, "bytesBehindTheMessage", invalid, spoiled([](Bytes& b) { b.push_back(1); })},
    {22, "indefiniteLengths", accepted, message([](MessageShape& m) { m.outerLengths = der::Length::indefinite; }),
     [](World& w) { w.flipCode(1); }},
    {22, "anRSAKey", accepted, [](World& w) { w.certificates.leaf.keyName = "rsa leaf"; }, flipsCode},
    {22, "aMessageOfSHA384", accepted, message([](MessageShape& m) { m.digest = "sha384"; }), flipsCode},
    {23, "embeddedContent", invalid, message([](MessageShape& m) { m.embedsContent = true; })},
    {23, "twoSigners", invalid, message([](MessageShape& m) { m.signerCount = 2; })},
    {23, "noSignedAttributes", invalid, message([](MessageShape& m) { m.hasAttributes = false; })},
    {23, "anotherContentType", invalid, message([](MessageShape& m) { m.contentType = "1.2.840.113549.1.7.5"; })},
    {24, "theMessageOfAnotherDirectory", invalid, swapMessages},
    {24, "oneSignatureByteChanged", invalid, message([](MessageShape& m) {
       m.timestamp.reset();
       m.spoil = [](Bytes& b) { b.back() ^= 1; };
     })},
    {25, "unsignedAttributesWithoutAToken", invalid, message([](MessageShape& m) {
       m.unsignedAttribute = der::sequence({der::oid("1.2.3.4"), der::set({der::null()})});
     })},
    {25, "anEmptyListOfUnsignedAttributes", invalid, message([](MessageShape& m) { m.unsignedAttribute = Bytes(); })},
    {25, "anUnsignedSetThatIsNotTaggedAsOne", invalid, message([](MessageShape& m) { m.spoil = spoilUnsignedSet; })},
    {25, "aTokenOverOtherBytes", invalid, message([](MessageShape& m) { m.timestamp->spoilImprint = true; })},
    {25, "aTokenOfNoTimestampAuthority", invalid,
     [](World& w) { w.certificates.timestampLeaf.extendedKeyUsage = "codeSigning"; }},
    {26, "expiredSinceTheTimestamp", accepted, [](World& w) { w.now = day(2031, 1, 1); }, flipMessage},
    {26, "stampedAfterTheEnd", invalid, stampedAt(day(2030, 6, 1))},
    {26, "stampedBeforeTheBeginning", invalid, stampedAt(day(2024, 6, 1))},
    {27, "noTimestamp", accepted, unstampedAt(day(2026, 1, 1)), flipsCode},
    {27, "noTimeAtAll", accepted, message([](MessageShape& m) {
       m.timestamp.reset();
       m.signingTime.reset();
     }),
     flipsCode},
    {27, "signedInSecond60", accepted, claims(utcText("260115000060Z")), flipsCode},
    {27, "signedInSecond60InTheOtherForm", accepted, claims(generalizedText("20260115235960Z")), flipsCode},
    {27, "signedInSecond61", invalid, claims(utcText("260115000061Z"))},
    {27, "signedInSecond61InTheOtherForm", invalid, claims(generalizedText("20260115235961Z"))},
    {27, "signedOnThe30thOfFebruary", invalid, claims(utcText("260230000000Z"))},
    {27, "expiredWhenSigned", accepted, unstampedAt(day(2031, 1, 1)), flipsCode},
    {27, "expiredWhenSignedAndExpirationEnforced", invalid, expireSignatures},
    {28, "stampedAfterTheAuthoritysEnd", invalid,
     [](World& w) { w.certificates.timestampLeaf.notAfter = day(2026, 1, 10); }},
    {28, "theAuthorityHasExpiredSince", accepted,
     [](World& w) { w.certificates.timestampLeaf.notAfter = day(2026, 2, 1); }, flipMessage},
    {28, "aTokenOfSHA1", accepted, stampWithSHA1, flipMessage},
    {29, "stampedUnderAnotherRoot", invalid, stampInAnotherWorld},
};

class SignedMessageCases : public SigningCaseTest {};
TEST_P(SignedMessageCases, getTheirVerdict) { run(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, SignedMessageCases, ::testing::ValuesIn(cases), caseName);

}  // namespace
}  // namespace brindlewick::testing
