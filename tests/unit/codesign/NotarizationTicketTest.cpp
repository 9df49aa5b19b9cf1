#include "platform/linux/codesign/NotarizationTicket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/linux/codesign/Certificate.h"
#include "platform/linux/codesign/Refusal.h"
#include "support/codesign/ByteWriter.h"
#include "support/codesign/StapledTicket.h"

namespace brindlewick::testing {
namespace {

using codesign::CDHash;
using codesign::Certificate;
using codesign::Refusal;

constexpr std::size_t signatureFieldByteCount = 72;

Bytes hashOf(std::uint8_t number) { return Bytes(CDHash().size(), number); }

/// One ticket that is judged: a good one of two hashes, until a test changes its certificates, its shape or its bytes.
class TicketWorld {
 public:
  PKIShape certificates = PKIShape::developerID();
  TicketShape shape;
  std::vector<TicketEntry> entries = {{std::uint8_t{2}, hashOf(1)}, {std::uint8_t{1}, hashOf(2)}};
  std::function<void(TestPKI&)> editPKI;
  std::function<void(CodeSigningTrust&)> editTrust;
  std::function<void(Bytes&)> edit;

  /// What a ticket says and in which order, whether or not a signer would.
  void spoilPayload(std::function<void(Bytes&)> change) { shape.spoilPayload = std::move(change); }

  [[nodiscard]] std::set<CDHash> verify() const {
    TestPKI pki = TestPKI::issued(certificates);
    CodeSigningTrust trust = trustIn(pki);
    if (editPKI) editPKI(pki);
    if (editTrust) editTrust(trust);
    Bytes ticket = stapledTicket(shape, entries, pki);
    if (edit) edit(ticket);
    return codesign::verifyNotarizationTicket(ticket, trust);
  }

  [[nodiscard]] bool isAccepted() const try { return !verify().empty(); } catch (const Refusal&) {
    return false;
  }

  static CodeSigningTrust trustIn(const TestPKI& pki) {
    const auto fingerprint = [](const Identity& root) {
      return Certificate::fromDER(root.certificate).value().fingerprint();
    };
    return {.anchors = {fingerprint(pki.root), fingerprint(pki.ticketRoot)},
            .now = [] { return day(2035, 1, 1); },
            .ticketRoots = {pki.ticketRoot.certificate}};
  }
};

/// Where the payload begins in a ticket.
std::size_t payloadIn(const Bytes& ticket) { return 16 + little32At(ticket, 8); }
std::size_t signatureIn(const Bytes& ticket) { return ticket.size() - signatureFieldByteCount; }

TEST(NotarizationTicket, namesTheCodeOfItsList) {
  TicketWorld world;
  CDHash one;
  CDHash two;
  one.fill(1);
  two.fill(2);
  EXPECT_EQ(world.verify(), (std::set<CDHash>{one, two}));
}

struct TicketCase {
  std::string name;
  bool isAccepted;
  std::function<void(TicketWorld&)> change;
};

std::ostream& operator<<(std::ostream& out, const TicketCase& theCase) { return out << theCase.name; }
std::string ticketName(const ::testing::TestParamInfo<TicketCase>& info) { return info.param.name; }

constexpr bool accepted = true;
constexpr bool refused = false;

std::function<void(TicketWorld&)> bytes(void (*change)(Bytes&)) {
  return [change](TicketWorld& world) { world.edit = change; };
}
/// Of what is signed, so that only its meaning can be refused.
std::function<void(TicketWorld&)> payload(void (*change)(Bytes&)) {
  return [change](TicketWorld& world) { world.spoilPayload(change); };
}
std::function<void(TicketWorld&)> time(der::Time time) {
  return [time](TicketWorld& world) { world.shape.time = time; };
}
std::function<void(TicketWorld&)> issuing(void (*change)(PKIShape&)) {
  return [change](TicketWorld& world) { change(world.certificates); };
}
std::function<void(TicketWorld&)> trusting(void (*change)(CodeSigningTrust&)) {
  return [change](TicketWorld& world) { world.editTrust = change; };
}
std::function<void(TicketWorld&)> signedBy(void (*change)(TestPKI&)) {
  return [change](TicketWorld& world) { world.editPKI = change; };
}

void signWithAnotherKey(TestPKI& pki) { pki.ticketLeaf.key = TestKey::named("another ticket leaf"); }

void signWithoutAnAuthority(TestPKI& pki) {
  CertificateShape leaf = PKIShape::developerID().ticketLeaf;
  leaf.extensions.push_back({"1.2.840.113635.100.6.2.17"});
  pki.ticketLeaf = issue(leaf, &pki.ticketRoot);
}

void signUnderAFurtherAuthority(TestPKI& pki) {
  const PKIShape shape = PKIShape::developerID();
  CertificateShape further = shape.ticketAuthority;
  further.keyName = "further";
  further.subject = {{"CN", "Further"}};
  const Identity authority = issue(further, &pki.ticketAuthority);
  pki.ticketLeaf = issue(shape.ticketLeaf, &authority);
  // Both stand in the list of certificates, which the builder takes as they are.
  append(pki.ticketAuthority.certificate, authority.certificate);
}

void swapCertificates(TestPKI& pki) { std::swap(pki.ticketLeaf.certificate, pki.ticketAuthority.certificate); }

/// Twenty copies of the authority.
void holdManyCertificates(TestPKI& pki) {
  const Bytes one = pki.ticketAuthority.certificate;
  for (int i = 0; i < 20; ++i) append(pki.ticketAuthority.certificate, one);
}

void useRSA(PKIShape& shape) { shape.ticketLeaf.keyName = "rsa ticket leaf"; }

const std::vector<TicketCase> containers = {
    {"good", accepted, [](TicketWorld&) {}},
    {"holdsItsRoot", accepted, [](TicketWorld& w) { w.shape.embedsRoot = true; }},
    {"anotherMagic", refused, bytes([](Bytes& b) { b[3] = 'i'; })},
    {"versionZero", refused, bytes([](Bytes& b) { setLittle32(b, 4, 0); })},
    {"versionTwo", refused, bytes([](Bytes& b) { setLittle32(b, 4, 2); })},
    {"empty", refused, bytes([](Bytes& b) { b.clear(); })},
    {"cutInTheMagic", refused, bytes([](Bytes& b) { b.resize(3); })},
    {"cutInTheHeader", refused, bytes([](Bytes& b) { b.resize(15); })},
    {"headerAlone", refused, bytes([](Bytes& b) { b.resize(16); })},
    {"cutByOneByte", refused, bytes([](Bytes& b) { b.pop_back(); })},
    {"aZeroBehindTheSignature", refused, bytes([](Bytes& b) { b.push_back(0); })},
    {"aByteBehindTheSignature", refused, bytes([](Bytes& b) { b.push_back(1); })},
    {"oneCertificatesByteMore", refused, bytes([](Bytes& b) { setLittle32(b, 8, little32At(b, 8) + 1); })},
    {"oneByteMovedToThePayload", refused, bytes([](Bytes& b) {
       setLittle32(b, 8, little32At(b, 8) - 1);
       setLittle32(b, 12, little32At(b, 12) + 1);
     })},
    {"lengthsThatWrap", refused, bytes([](Bytes& b) { std::fill(b.begin() + 8, b.begin() + 16, std::uint8_t{0xFF}); })},
    {"lengthsThatWrapToTheSize", refused, bytes([](Bytes& b) {
       setLittle32(b, 12, little32At(b, 12) - 0x80000000U);
       setLittle32(b, 8, little32At(b, 8) + 0x80000000U);
     })},
    {"noCertificates", refused, bytes([](Bytes& b) {
       b.erase(b.begin() + 16, b.begin() + static_cast<std::ptrdiff_t>(payloadIn(b)));
       setLittle32(b, 8, 0);
     })},
    {"certificatesThatAreNoSequence", refused, bytes([](Bytes& b) { b[16] = 0x31; })},
    {"aCertificateThatIsNone", refused, bytes([](Bytes& b) { b[20] = 0x04; })},
};

const std::vector<TicketCase> signatures = {
    {"certificateChanged", refused, bytes([](Bytes& b) { b[payloadIn(b) - 1] ^= 1; })},
    {"payloadChanged", refused, bytes([](Bytes& b) { b[signatureIn(b) - 1] ^= 1; })},
    {"hashTypeChanged", refused, bytes([](Bytes& b) { b[payloadIn(b) + 24] ^= 3; })},
    {"timeChanged", refused, bytes([](Bytes& b) { b[payloadIn(b) + 16] ^= 1; })},
    {"signatureChanged", refused, bytes([](Bytes& b) { b[signatureIn(b) + 20] ^= 1; })},
    {"noSignature", refused, bytes([](Bytes& b) { std::fill(b.end() - 72, b.end(), std::uint8_t{0}); })},
    {"signatureLongerThanItsField", refused, bytes([](Bytes& b) { b[signatureIn(b) + 1] = 71; })},
    {"signatureWithALongLength", refused, bytes([](Bytes& b) { b[signatureIn(b) + 1] = 0x81; })},
    {"signatureOneByteLonger", refused, bytes([](Bytes& b) { ++b[signatureIn(b) + 1]; })},
    {"signatureOneByteShorter", refused, bytes([](Bytes& b) { --b[signatureIn(b) + 1]; })},
    {"signatureOfAnotherKey", refused, signedBy(signWithAnotherKey)},
    {"signatureOfTheAuthority", refused, signedBy(swapCertificates)},
    {"keyForRSA", refused, issuing(useRSA)},
};

const std::vector<TicketCase> payloads = {
    {"anotherPayloadMagic", refused, payload([](Bytes& b) { b[0] = 'G'; })},
    {"payloadVersionOne", refused, payload([](Bytes& b) { b[4] = 1; })},
    {"payloadVersionInTheUpperByte", refused, payload([](Bytes& b) { b[5] = 1; })},
    {"hashLengthOf32", refused, payload([](Bytes& b) { b[6] = 32; })},
    {"countOneMore", refused, payload([](Bytes& b) { setLittle32(b, 8, 3); })},
    {"countOneLess", refused, payload([](Bytes& b) { setLittle32(b, 8, 1); })},
    {"countThatWraps", refused, payload([](Bytes& b) { setLittle32(b, 8, 0xFFFFFFFF); })},
    {"countThatWrapsToTheSize", refused, payload([](Bytes& b) {
       // 21 times this is 1 in 32 bits.
       b.resize(24 + 1);
       setLittle32(b, 8, 0x3CF3CF3DU);
     })},
    {"listEmpty", refused, [](TicketWorld& w) { w.entries.clear(); }},
    {"aByteBehindTheList", refused, payload([](Bytes& b) { b.push_back(0); })},
    {"listCut", refused, payload([](Bytes& b) { b.pop_back(); })},
    {"payloadCutInItsHeader", refused, payload([](Bytes& b) { b.resize(23); })},
    {"payloadEmpty", refused, payload([](Bytes& b) { b.clear(); })},
    {"flagsTwo", accepted, payload([](Bytes& b) { setLittle32(b, 12, 2); })},
    {"flagsOne", refused, payload([](Bytes& b) { setLittle32(b, 12, 1); })},
    {"flagsFour", refused, payload([](Bytes& b) { setLittle32(b, 12, 4); })},
    {"unknownHashType", accepted, [](TicketWorld& w) { w.entries[0].first = 9; }},
    {"manyEntries", accepted,
     [](TicketWorld& w) {
       w.entries.resize(5000, {std::uint8_t{2}, hashOf(7)});
     }},
};

const std::vector<TicketCase> times = {
    {"onItsFirstDay", accepted, time(day(2025, 1, 1))},
    {"beforeItsFirstDay", refused, time(day(2025, 1, 1) - std::chrono::seconds(1))},
    {"onItsLastDay", accepted, time(day(2030, 1, 1) - std::chrono::seconds(1))},
    {"behindItsLastDay", refused, time(day(2030, 1, 1) + std::chrono::seconds(1))},
    {"atTheEpoch", refused, time(der::Time())},
    {"theLeafHasExpiredSince", accepted, issuing([](PKIShape& s) { s.ticketLeaf.notAfter = day(2026, 2, 1); })},
    {"theLeafHadExpired", refused, issuing([](PKIShape& s) { s.ticketLeaf.notAfter = day(2026, 1, 15); })},
    {"theAuthorityHasExpiredSince", accepted,
     issuing([](PKIShape& s) { s.ticketAuthority.notAfter = day(2026, 2, 1); })},
    {"theAuthorityHadExpired", refused, issuing([](PKIShape& s) { s.ticketAuthority.notAfter = day(2026, 1, 15); })},
    {"theRootHadExpired", refused, issuing([](PKIShape& s) { s.ticketRoot.notAfter = day(2026, 1, 15); })},
    {"timeThatOverflowsTheClock", refused, payload([](Bytes& b) { setLittle64(b, 16, ~std::uint64_t{0}); })},
    {"timeThatWrapsToAGoodOne", refused, payload([](Bytes& b) {
       // 2^55 seconds more are a multiple of 2^64 nanoseconds.
       setLittle32(b, 20, little32At(b, 20) + (std::uint32_t{1} << 23));
     })},
};

const std::vector<TicketCase> chains = {
    {"anotherWorld", refused,
     [](TicketWorld& w) { w.shape.pki = TestPKI::issued(PKIShape::developerID("TEAM123456", " of others")); }},
    {"anotherWorldWithItsRoot", refused,
     [](TicketWorld& w) {
       w.shape.pki = TestPKI::issued(PKIShape::developerID("TEAM123456", " of others"));
       w.shape.embedsRoot = true;
     }},
    {"rootThatIsNoAnchor", refused, trusting([](CodeSigningTrust& t) { t.anchors.clear(); })},
    {"rootAmongAnchorsOnly", refused, trusting([](CodeSigningTrust& t) { t.ticketRoots.clear(); })},
    {"rootAmongAnchorsOnlyButHeld", accepted,
     [](TicketWorld& w) {
       w.shape.embedsRoot = true;
       w.editTrust = [](CodeSigningTrust& t) { t.ticketRoots.clear(); };
     }},
    {"furtherRoots", accepted, trusting([](CodeSigningTrust& t) {
       t.ticketRoots.insert(t.ticketRoots.begin(), {Bytes{}, Bytes{1, 2, 3}});
     })},
    {"rootWithABehind", refused, trusting([](CodeSigningTrust& t) { t.ticketRoots[0].push_back(0); })},
    {"leafWithoutItsMarker", refused, issuing([](PKIShape& s) { s.ticketLeaf.extensions.clear(); })},
    {"leafWithTheAuthoritysMarker", refused,
     issuing([](PKIShape& s) { s.ticketLeaf.extensions = s.ticketAuthority.extensions; })},
    {"authorityWithoutItsMarker", refused, issuing([](PKIShape& s) { s.ticketAuthority.extensions.clear(); })},
    {"authorityWithTheLeafsMarker", refused,
     issuing([](PKIShape& s) { s.ticketAuthority.extensions = s.ticketLeaf.extensions; })},
    {"authorityThatIsNone", refused, issuing([](PKIShape& s) { s.ticketAuthority.authority = false; })},
    {"leafThatMayNotSign", refused, issuing([](PKIShape& s) { s.ticketLeaf.keyUsage = "keyAgreement"; })},
    {"leafOfCode", refused, signedBy([](TestPKI& p) { p.ticketLeaf = p.leaf; })},
    {"leafUnderTheRoot", refused, signedBy(signWithoutAnAuthority)},
    {"leafUnderAFurtherAuthority", refused, signedBy(signUnderAFurtherAuthority)},
    {"manyCertificates", refused, signedBy(holdManyCertificates)},
    {"authorityMissing", refused, signedBy([](TestPKI& p) { p.ticketAuthority.certificate.clear(); })},
};

class NotarizationTickets : public ::testing::TestWithParam<TicketCase> {};
TEST_P(NotarizationTickets, getTheirVerdict) {
  TicketWorld world;
  GetParam().change(world);
  EXPECT_EQ(world.isAccepted(), GetParam().isAccepted);
}
INSTANTIATE_TEST_SUITE_P(Containers, NotarizationTickets, ::testing::ValuesIn(containers), ticketName);
INSTANTIATE_TEST_SUITE_P(Signatures, NotarizationTickets, ::testing::ValuesIn(signatures), ticketName);
INSTANTIATE_TEST_SUITE_P(Payloads, NotarizationTickets, ::testing::ValuesIn(payloads), ticketName);
INSTANTIATE_TEST_SUITE_P(Times, NotarizationTickets, ::testing::ValuesIn(times), ticketName);
INSTANTIATE_TEST_SUITE_P(Chains, NotarizationTickets, ::testing::ValuesIn(chains), ticketName);

TEST(NotarizationTicket, everyChangedByteIsRefused) {
  const TestPKI pki = TestPKI::issued(PKIShape::developerID());
  const CodeSigningTrust trust = TicketWorld::trustIn(pki);
  const Bytes ticket = stapledTicket({}, {{std::uint8_t{2}, hashOf(1)}}, pki);
  for (std::size_t i = 0; i < ticket.size(); ++i) {
    Bytes changed = ticket;
    changed[i] ^= 0x10;
    EXPECT_THROW(static_cast<void>(codesign::verifyNotarizationTicket(changed, trust)), Refusal) << i;
  }
  EXPECT_EQ(codesign::verifyNotarizationTicket(ticket, trust).size(), 1U);
}

TEST(NotarizationTicket, everyCutIsRefused) {
  const TestPKI pki = TestPKI::issued(PKIShape::developerID());
  const CodeSigningTrust trust = TicketWorld::trustIn(pki);
  const Bytes ticket = stapledTicket({}, {{std::uint8_t{2}, hashOf(1)}}, pki);
  for (std::size_t size = 0; size < ticket.size(); ++size)
    EXPECT_THROW(static_cast<void>(codesign::verifyNotarizationTicket(ByteView(ticket).first(size), trust)), Refusal)
        << size;
}

}  // namespace
}  // namespace brindlewick::testing
