#include <gtest/gtest.h>

#include "platform/CodeSigning.h"
#include "unit/codesign/SigningWorld.h"

namespace brindlewick::testing {
namespace {

/// What becomes of a text: it does not compile, or the good application does or does not meet it.
enum class Outcome { refused, met, unmet };

struct TextCase {
  int number;
  std::string name;
  std::string text;
  Outcome expected;
};

std::ostream& operator<<(std::ostream& out, const TextCase& theCase) { return out << theCase.text; }
std::ostream& operator<<(std::ostream& out, Outcome outcome) { return out << static_cast<int>(outcome); }

std::string textName(const ::testing::TestParamInfo<TextCase>& info) {
  return "Case" + std::to_string(info.param.number) + "_" + info.param.name;
}

using enum Outcome;
const std::vector<TextCase> cases = {
    // "and" binds tighter than "or".
    {59, "andBeforeOr", "always or never and never", met},
    {59, "andBeforeOrTheOtherWay", "never and never or always", met},
    {59, "parentheses", "(always or never) and never", unmet},
    {59, "not", "! never", met},
    {59, "notBindsTighterThanAnd", "! never and never", unmet},
    {59, "notOfParentheses", "!(never or always)", unmet},
    {59, "trueAndFalse", "true and !false", met},
    {59, "blockComment", "always /* exists */ and /**/ always", met},
    {59, "slashComment", "always // or so\n and never", unmet},
    {59, "hashComment", "always # or so\n and never", unmet},
    {59, "commentAtTheEnd", "always # or so", met},
    {59, "bareWords", "identifier com.brindlewick.app", met},
    {59, "bareWordsWithNumbers", "certificate leaf[subject.OU] = TEAM123456", met},
    {59, "equalsSigns", "identifier = \"com.brindlewick.app\" and identifier == com.brindlewick.app", met},
    {59, "identifierInAnotherCase", "identifier \"com.Brindlewick.app\"", unmet},
    {59, "anEscapedQuote", "identifier \"com.\\\"x\"", unmet},
    {59, "tabsAndLineFeeds", "\talways\n and\n\talways ", met},
    {59, "aSemicolonAtTheEnd", "always;", met},
    {60, "empty", "", refused},
    {60, "unterminatedString", "identifier \"com.brindlewick.app", refused},
    {60, "unterminatedComment", "always /* or so", refused},
    {60, "trailingWord", "always always", refused},
    {60, "unknownEscape", "identifier \"com\\n\"", refused},
    {60, "unknownKeyword", "sometimes", refused},
    {60, "oddHash", "cdhash H\"0123456789abcdef0123456789abcdef0123456\"", refused},
    {60, "longHash", "cdhash H\"0123456789abcdef0123456789abcdef0123456789\"", refused},
    {60, "hashWithALetter", "cdhash H\"0123456789abcdef0123456789abcdef0123456g\"", refused},
    {60, "openParenthesis", "(always", refused},
    {60, "closeParenthesis", "always)", refused},
    {60, "danglingAnd", "always and", refused},
    {60, "bareWordThatStartsWithADigit", "certificate leaf[subject.OU] = 9TEAM", refused},
    {60, "bareWordWithAHyphen", "identifier com.brindle-wick", refused},
    {60, "anchorAppleAlone", "anchor apple", refused},
    {60, "notarized", "notarized", refused},
    {60, "entitlement", "entitlement[\"x\"] exists", refused},
    {60, "information", "info[CFBundleVersion] = \"118\"", refused},
    {60, "lessThan", "certificate leaf[subject.OU] < \"Z\"", refused},
    {60, "unknownBracketKey", "certificate leaf[colour.OU] = \"X\"", refused},
    {60, "aNUL", std::string("always\0", 7), refused},
    {60, "deepParentheses", std::string(100000, '(') + "always" + std::string(100000, ')'), refused},
    {60, "manyNegations", std::string(100001, '!') + "never", refused},
    {61, "slotBeyondTheChain", "certificate 7[field.1.2.840.113635.100.6.2.6] exists", unmet},
    {61, "slotBeyondTheChainFromTheRoot", "certificate -7[field.1.2.840.113635.100.6.2.6] exists", unmet},
    {61, "noExtensionInASlotBeyondTheChain", "! certificate 7[field.1.2.840.113635.100.6.2.6] exists", met},
    {61, "authorityMarkerFromTheRoot", "certificate -2[field.1.2.840.113635.100.6.2.6] exists", met},
    {61, "authorityMarkerFromTheLeaf", "cert 1[field.1.2.840.113635.100.6.2.6]", met},
    {61, "leafMarker", "certificate leaf[field.1.2.840.113635.100.6.1.13] exists", met},
    {61, "leafMarkerInTheRoot", "certificate root[field.1.2.840.113635.100.6.1.13] exists", unmet},
    {61, "absentExtension", "certificate root[field.1.2.840.113635.100.6.1.13] absent", met},
    {61, "appleAnchor", "anchor apple generic", met},
    {61, "appleAnchorTheOtherWay", "anchor generic apple", met},
    {61, "subject", "certificate leaf[subject.O] = \"Brindlewick\" and certificate leaf[subject.C] = US", met},
    {61, "subjectByItsBeginning", "certificate leaf[subject.CN] = \"Developer ID\"*", met},
    {61, "subjectByItsMiddle", "certificate leaf[subject.CN] = *\"ID Application\"*", met},
    {61, "unknownSubjectKey", "certificate leaf[subject.XY] = \"X\"", unmet},
};

class RequirementCases : public ::testing::TestWithParam<TextCase> {
 protected:
  static void SetUpTestSuite() {
    world = std::make_unique<SigningWorld>();
    world->write();
  }
  static void TearDownTestSuite() { world.reset(); }

  static Outcome outcomeOf(const std::string& text) {
    const auto signing = makeLinuxCodeSigning(world->trust());
    const auto requirement = signing->requirement(text);
    if (requirement == nullptr) return refused;
    return signing->staticCode(world->application())->satisfies(*requirement) ? met : unmet;
  }

  static inline std::unique_ptr<SigningWorld> world;
};

TEST_P(RequirementCases, getTheirOutcome) { EXPECT_EQ(outcomeOf(GetParam().text), GetParam().expected); }
INSTANTIATE_TEST_SUITE_P(All, RequirementCases, ::testing::ValuesIn(cases), textName);

std::string hash(ByteView bytes) { return codeHashRequirement({Bytes(bytes.begin(), bytes.end())}).substr(7); }

TEST_F(RequirementCases, aHashNamesACertificate) {
  const Bytes root = digestOf(world->pki().root.certificate, "sha1");
  EXPECT_EQ(outcomeOf("certificate root = " + hash(root)), met);
  EXPECT_EQ(outcomeOf("anchor = " + hash(root)), met);
  EXPECT_EQ(outcomeOf("certificate leaf " + hash(root)), unmet);
}

TEST_F(RequirementCases, aHashNamesTheCodeOfOneArchitecture) {
  EXPECT_EQ(outcomeOf(codeHashRequirement(world->codeHashes())), met);
  EXPECT_EQ(outcomeOf(codeHashRequirement({world->codeHashes().at(0)})), unmet);
}

}  // namespace
}  // namespace brindlewick::testing
