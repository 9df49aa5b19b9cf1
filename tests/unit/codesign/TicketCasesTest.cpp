#include <algorithm>

#include "unit/codesign/SigningCase.h"

namespace brindlewick::testing {
namespace {

constexpr std::size_t signatureFieldByteCount = 72;
// The entries of a bundle stand in the order of signing: what is nested first, then the executable's architectures.
constexpr std::size_t firstEntry = 0;

std::function<void(World&)> ticket(void (*change)(TicketShape&)) {
  return [change](World& world) { change(*world.bundle.ticket); };
}

std::function<void(World&)> spoiled(void (*change)(Bytes&)) {
  return [change](World& world) { world.bundle.ticket->spoil = change; };
}

std::function<void(World&)> omitsEntry(std::size_t n) {
  return [n](World& world) {
    world.bundle.ticket->editEntries = [n](auto& entries) {
      entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(n));
    };
  };
}

void omitNestedHash(World& world) {
  world.bundle.nested["Frameworks/libwords.dylib"] =
      BundleShape::file("libwords", dynamicLibraryFile, SignatureKind::certificate);
  omitsEntry(firstEntry)(world);
}

void nameOnlyNestedCode(World& world) {
  world.bundle.nested["Frameworks/libwords.dylib"] =
      BundleShape::file("libwords", dynamicLibraryFile, SignatureKind::certificate);
  world.bundle.ticket->editEntries = [](auto& entries) { entries.erase(entries.begin() + 2, entries.end()); };
}

void ticketOfAnotherRoot(World& world) {
  world.bundle.ticket->pki = TestPKI::issued(PKIShape::developerID("TEAM123456", " of others"));
}

void flipPayload(World& world) { world.flipText("CodeResources", "g8tk"); }

const std::vector<SigningCase> cases = {
    {62, "aGoodOne", accepted, nothing, flipPayload, notAssessed},
    {62, "payloadChanged", notAssessed, spoiled([](Bytes& b) { b.at(b.size() - signatureFieldByteCount - 1) ^= 1; })},
    {62, "signatureChanged", notAssessed,
     spoiled([](Bytes& b) { b.at(b.size() - signatureFieldByteCount + 20) ^= 1; })},
    {62, "bytesBehindTheSignature", notAssessed, spoiled([](Bytes& b) { b.push_back(1); })},
    {62, "cut", notAssessed, spoiled([](Bytes& b) { b.erase(b.end() - 40, b.end()); })},
    {62, "lengthsThatWrap", notAssessed,
     spoiled([](Bytes& b) { std::fill(b.begin() + 8, b.begin() + 16, std::uint8_t{0xFF}); })},
    {63, "executableAbsent", notAssessed, ticket([](TicketShape& t) { t.editEntries = [](auto& e) { e.clear(); }; })},
    {63, "firstArchitectureAbsent", notAssessed, omitsEntry(0)},
    {63, "secondArchitectureAbsent", notAssessed, omitsEntry(1)},
    {63, "onlyNestedCodeThere", notAssessed, nameOnlyNestedCode},
    {63, "nestedCodeAbsent", notAssessed, omitNestedHash},
    {63, "none", notAssessed, [](World& w) { w.bundle.ticket.reset(); }},
    {64, "anotherRoot", notAssessed, ticketOfAnotherRoot},
    {64, "leafWithoutItsMarker", notAssessed, [](World& w) { w.certificates.ticketLeaf.extensions.clear(); }},
    {64, "authorityWithoutItsMarker", notAssessed, [](World& w) { w.certificates.ticketAuthority.extensions.clear(); }},
    {64, "timeAfterTheLeafsEnd", notAssessed, ticket([](TicketShape& t) { t.time = day(2030, 6, 1); })},
    {64, "timeBeforeTheLeafsBeginning", notAssessed, ticket([](TicketShape& t) { t.time = day(2024, 6, 1); })},
    {64, "theLeafHasExpiredSince", accepted, [](World& w) { w.certificates.ticketLeaf.notAfter = day(2026, 2, 1); },
     flipPayload, notAssessed},
};

class TicketCases : public SigningCaseTest {};
TEST_P(TicketCases, getTheirVerdict) { run(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, TicketCases, ::testing::ValuesIn(cases), caseName);

}  // namespace
}  // namespace brindlewick::testing
