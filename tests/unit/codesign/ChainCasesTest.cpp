#include "support/codesign/ByteWriter.h"
#include "support/codesign/PropertyListText.h"
#include "unit/codesign/SigningCase.h"

namespace brindlewick::testing {
namespace {

constexpr const char* authorityMarker = "1.2.840.113635.100.6.2.6";

std::function<void(World&)> certificates(void (*change)(PKIShape&)) {
  return [change](World& world) { change(world.certificates); };
}

TestPKI others(const std::string& team = "TEAM123456") {
  return TestPKI::issued(PKIShape::developerID(team, " of others"));
}

void signUnderAnotherRoot(World& world) {
  world.eachMessage([](MessageShape& m) { m.pki = others(); });
}

/// The team in the directories and in the leaf, whatever it holds.
std::function<void(World&)> team(const std::string& name) {
  return [name](World& world) {
    world.certificates = PKIShape::developerID(name);
    world.bundle.team = name;
  };
}

std::function<void(World&)> identifier(const std::string& name) {
  return [name](World& world) {
    world.bundle.identifier = name;
    world.bundle.information["CFBundleIdentifier"] = plist::string(name);
  };
}

/// The field points to a text without a character, instead of saying that there is none.
void nameAnEmptyTeam(World& world) {
  world.eachDirectory([](DirectoryShape& d) {
    d.team = "";
    d.spoil = [](Bytes& bytes) {
      const std::size_t identifierOffset = big32At(bytes, 20);
      setBig32(bytes, 48, positionOf(bytes, Bytes{0}, identifierOffset));
    };
  });
}

void giveOneSliceAnotherTeam(World& world) {
  world.slice(1).signature.message.pki = TestPKI::issued([] {
    PKIShape shape = PKIShape::developerID("TEAM654321", " of a second team");
    return shape;
  }());
  world.slice(1).signature.directories.at(0).team = "TEAM654321";
}

void spoilCriticalMarker(World& world) {
  world.edit(mainExecutable, [](Bytes& bytes) {
    const Bytes marker = der::oid("1.2.840.113635.100.6.1.18");
    bytes.at(positionOf(bytes, marker) + marker.size() - 1) ^= 1;
  });
}

const std::vector<SigningCase> cases = {
    {30, "anotherRoot", requirementUnmet, signUnderAnotherRoot},
    {30, "noIntermediate", invalid,
     [](World& w) { w.eachMessage([](MessageShape& m) { m.embedsIntermediate = false; }); }},
    {30, "intermediateIsNoAuthority", invalid, certificates([](PKIShape& p) { p.intermediate.authority = false; })},
    {30, "intermediateWithoutConstraints", invalid,
     certificates([](PKIShape& p) { p.intermediate.authority.reset(); })},
    {30, "intermediateMayNotSignCertificates", invalid,
     certificates([](PKIShape& p) { p.intermediate.keyUsage = "digitalSignature"; })},
    {31, "noExtendedKeyUsage", invalid, certificates([](PKIShape& p) { p.leaf.extendedKeyUsage = ""; })},
    {31, "forServersOnly", invalid, certificates([](PKIShape& p) { p.leaf.extendedKeyUsage = "serverAuth"; })},
    {31, "forAnythingOnly", invalid,
     certificates([](PKIShape& p) { p.leaf.extendedKeyUsage = "anyExtendedKeyUsage"; })},
    {31, "noKeyUsage", invalid, certificates([](PKIShape& p) { p.leaf.keyUsage = ""; })},
    {31, "intermediateForServersOnly", invalid,
     certificates([](PKIShape& p) { p.intermediate.extendedKeyUsage = "serverAuth"; })},
    {32, "anUnknownCriticalExtension", invalid, certificates([](PKIShape& p) {
       p.leaf.extensions.push_back({"1.2.3.4", true, der::null()});
     })},
    {32, "twoCriticalExtensionsOfApple", accepted, certificates([](PKIShape& p) {
       p.leaf.extensions.push_back({"1.2.840.113635.100.6.1.18", true, der::null()});
     }),
     spoilCriticalMarker},
    {33, "leafWithoutItsMarker", requirementUnmet, certificates([](PKIShape& p) { p.leaf.extensions.clear(); })},
    {33, "intermediateWithoutItsMarker", requirementUnmet,
     certificates([](PKIShape& p) { p.intermediate.extensions.clear(); })},
    {33, "theAuthoritysMarkerInTheLeaf", requirementUnmet, certificates([](PKIShape& p) {
       p.intermediate.extensions.clear();
       p.leaf.extensions.push_back({authorityMarker, false, der::null()});
     })},
    {34, "unitUnlikeTheTeam", invalid, [](World& w) { w.certificates = PKIShape::developerID("TEAM654321"); }},
    {34, "twoUnitsTheTeamFirst", requirementUnmet,
     certificates([](PKIShape& p) { p.leaf.subject.emplace_back("OU", "TEAM654321"); })},
    {34, "twoUnitsTheTeamLast", invalid, certificates([](PKIShape& p) {
       p.leaf.subject.insert(p.leaf.subject.begin(), {"OU", "TEAM654321"});
     })},
    {34, "noTeam", invalid, [](World& w) { w.bundle.team = ""; }},
    {34, "anEmptyTeam", invalid, nameAnEmptyTeam},
    {35, "slicesOfDifferentTeams", invalid, giveOneSliceAnotherTeam},
    {35, "oneSliceWithAnotherIdentifier", requirementUnmet,
     [](World& w) { w.slice(1).signature.directories.at(0).identifier = "com.brindlewick.other"; }},
    {35, "oneSliceUnderAnotherRoot", requirementUnmet, [](World& w) { w.slice(1).signature.message.pki = others(); }},
    {36, "identifierInAnotherCase", requirementUnmet, identifier("com.Brindlewick.app")},
    {36, "directoryUnlikeTheInformation", requirementUnmet,
     [](World& w) { w.bundle.identifier = "com.brindlewick.other"; }},
    {37, "aQuoteInTheIdentifier", invalid, identifier("com.brindlewick.app\" or always and identifier \"x")},
    {37, "aBackslashInTheIdentifier", invalid, identifier("com.brindlewick.app\\")},
    {37, "aQuoteInTheTeam", invalid, team("X\" or always #")},
    {37, "aBackslashInTheTeam", invalid, team("TEAM123456\\")},
    {37, "aNULInTheTeam", invalid,
     [](World& w) { w.certificates = PKIShape::developerID(std::string("TEAM123456\0X", 12)); }},
    {37, "anotherTeam", otherTeam, team("TEAM654321")},
};

class ChainCases : public SigningCaseTest {};
TEST_P(ChainCases, getTheirVerdict) { run(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, ChainCases, ::testing::ValuesIn(cases), caseName);

}  // namespace
}  // namespace brindlewick::testing
