#include "platform/linux/codesign/Requirement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "support/codesign/TestPKI.h"

namespace brindlewick::testing {
namespace {

using codesign::Certificate;
using codesign::Requirement;
using codesign::RequirementSubject;

/// What becomes of a text: it does not compile, or the code does or does not meet it.
enum class Outcome { refused, met, unmet };
using enum Outcome;

std::ostream& operator<<(std::ostream& out, Outcome outcome) {
  return out << std::vector{"refused", "met", "unmet"}.at(static_cast<std::size_t>(outcome));
}

struct TextCase {
  std::string name;
  std::string text;
  Outcome expected;
};

std::ostream& operator<<(std::ostream& out, const TextCase& theCase) { return out << theCase.text.substr(0, 200); }
std::string textName(const ::testing::TestParamInfo<TextCase>& info) { return info.param.name; }

const std::string codeHash = "00112233445566778899aabbccddeeff01234567";

/// The code of a Developer ID with three certificates, and its certificates.
class Code {
 public:
  Code() : Code(PKIShape::developerID()) {}
  explicit Code(const PKIShape& shape) : pki(TestPKI::issued(shape)) {
    for (const Identity* identity : {&pki.leaf, &pki.intermediate, &pki.root})
      chain.push_back(Certificate::fromDER(identity->certificate).value());
    subject = {.identifier = "com.brindlewick.app", .codeHash = {}, .chain = chain, .isAnchored = true};
    for (std::size_t i = 0; i < subject.codeHash.size(); ++i)
      subject.codeHash[i] = static_cast<std::uint8_t>(std::stoul(codeHash.substr(2 * i, 2), nullptr, 16));
  }

  [[nodiscard]] Outcome outcomeOf(const std::string& text) const {
    const auto requirement = Requirement::compile(text);
    if (!requirement) return refused;
    return requirement->isMetBy(subject) ? met : unmet;
  }

  TestPKI pki;
  std::vector<Certificate> chain;
  RequirementSubject subject;
};

const Code& goodCode() {
  static const Code code;
  return code;
}

std::string times(std::size_t count, const std::string& text) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

// What combines terms. "and" binds tighter than "or", "!" tighter than both.
const std::vector<TextCase> combinations = {
    {"always", "always", met},
    {"true", "true", met},
    {"never", "never", unmet},
    {"false", "false", unmet},
    {"andOfBoth", "always and always", met},
    {"andOfOne", "always and never", unmet},
    {"andOfTheOther", "never and always", unmet},
    {"orOfOne", "always or never", met},
    {"orOfTheOther", "never or always", met},
    {"orOfNone", "never or never", unmet},
    {"andBeforeOr", "always or never and never", met},
    {"andBeforeOrTheOtherWay", "never and never or always", met},
    {"parenthesesBeforeAnd", "(always or never) and never", unmet},
    {"parenthesesBeforeAndTheOtherWay", "never and (never or always)", unmet},
    {"longChains", "always and always and never or never or always and always", met},
    {"not", "!never", met},
    {"notTwice", "! ! never", unmet},
    {"notBeforeAnd", "!never and never", unmet},
    {"notBeforeOr", "!always or always", met},
    {"notOfParentheses", "!(never or always)", unmet},
    {"withoutBlanks", "(always)and(always)", met},
    {"semicolonAtTheEnd", "always;", met},
    {"semicolonsAtTheEnd", "never ; ;; ", unmet},
    {"semicolonAtTheBeginning", ";always", refused},
    {"semicolonBetween", "always; always", refused},
    {"semicolonInParentheses", "(always;)", refused},
    {"semicolonAlone", ";", refused},
    {"empty", "", refused},
    {"blanksAlone", " \t\n", refused},
    {"commentAlone", "/* always */", refused},
    {"emptyParentheses", "()", refused},
    {"openParenthesis", "(always", refused},
    {"closeParenthesis", "always)", refused},
    {"closingBeforeOpening", ")always(", refused},
    {"anotherBracket", "(always]", refused},
    {"trailingWord", "always always", refused},
    {"trailingString", "always \"\"", refused},
    {"danglingAnd", "always and", refused},
    {"danglingOr", "always or", refused},
    {"danglingNot", "!", refused},
    {"notBehind", "always !", refused},
    {"leadingAnd", "and always", refused},
    {"doubledAnd", "always and and always", refused},
    {"andOr", "always and or always", refused},
    {"notAsAWord", "not never", refused},
    {"capitals", "ALWAYS", refused},
    {"capitalAnd", "always AND always", refused},
    {"unknownKeyword", "sometimes", refused},
    {"ampersands", "always && always", refused},
    {"bars", "always || always", refused},
    {"setOfRequirements", "designated => always", refused},
    {"hostRequirement", "host => always", refused},
    {"parenthesesToTheLimit", times(64, "(") + "always" + times(64, ")"), met},
    {"parenthesesBeyondTheLimit", times(65, "(") + "always" + times(65, ")"), refused},
    {"negationsToTheLimit", times(64, "!") + "always", met},
    {"negationsBeyondTheLimit", times(65, "!") + "always", refused},
    {"mixedBeyondTheLimit", times(33, "!(") + "always" + times(33, ")"), refused},
    {"parenthesesSideBySide", "(always)" + times(100, " and (always)"), met},
    {"deepParentheses", times(30000, "(") + "always" + times(30000, ")"), refused},
    {"manyTerms", "never" + times(5000, " or never"), unmet},
    {"lengthToTheLimit", "always" + std::string(64 * 1024 - 6, ' '), met},
    {"lengthBeyondTheLimit", "always" + std::string(64 * 1024 - 5, ' '), refused},
};

// How a text is divided.
const std::vector<TextCase> texts = {
    {"blockComment", "always /* exists */ and /**/ always", met},
    {"blockCommentAcrossLines", "always /* or\n so */ and never", unmet},
    {"blockCommentWithStars", "always /***/ and /* * / **/ never", unmet},
    {"blockCommentsDoNotNest", "always /* /* */ */", refused},
    {"blockCommentEndsAtItsFirstEnd", "/* /* */ always", met},
    {"blockCommentWithoutEnd", "always /* or so", refused},
    {"blockCommentThatOnlyOpens", "always /*/", refused},
    {"blockCommentThatOnlyCloses", "always */", refused},
    {"blockCommentInsteadOfABlank", "always/**/and/**/always", met},
    {"blockCommentWithinAWord", "al/**/ways", refused},
    {"slashComment", "always // or so\n and never", unmet},
    {"slashCommentAtTheEnd", "always // and never", met},
    {"slashCommentHidesABlockComment", "always // /*\n and never", unmet},
    {"oneSlash", "always / always", refused},
    {"hashComment", "always # or so\n and never", unmet},
    {"hashCommentAtTheEnd", "always #", met},
    {"commentsInStrings", R"(identifier "/* x */" or identifier "#" or identifier "//" or always)", met},
    {"commentInABracket", "certificate leaf[/* the team */ subject.OU] = TEAM123456 # it", met},
    {"tabsAndLineFeeds", "\talways\n and\n\talways ", met},
    {"carriageReturn", "always\r\nand always", refused},
    {"formFeed", "always\fand always", refused},
    {"verticalTab", "always\vand always", refused},
    {"NULAtTheEnd", std::string("always\0", 7), refused},
    {"NULInAString", std::string("identifier \"a\0\" or always", 25), refused},
    {"NULInAComment", std::string("always /*\0*/", 12), refused},
    {"controlInAString", "identifier \"a\x01\" or always", refused},
    {"deleteInAComment", "always # \x7F", refused},
    {"lineFeedInAString", "identifier \"a\n\" or always", refused},
    {"tabInAString", "identifier \"a\t\" or always", refused},
    {"umlautInAString", "! identifier \"com.br\xC3\xBC\"", met},
    {"umlautInAComment", "always # \xC3\xBC", met},
    {"umlautInAWord", "! identifier com.br\xC3\xBC", refused},
    {"brokenUTF8InAString", "! identifier \"com.br\xC3\"", refused},
    {"brokenUTF8InAComment", "always # \xFF", refused},
    {"byteOrderMark",
     "\xEF\xBB\xBF"
     "always",
     refused},
    {"stringWithoutEnd", "identifier \"com.brindlewick.app", refused},
    {"stringThatEndsInABackslash", "identifier \"com.brindlewick.app\\", refused},
    {"stringWithoutEndBehindAnEscape", "identifier \"com.brindlewick.app\\\"", refused},
    {"escapedQuote", R"(identifier "com.\"x")", unmet},
    {"escapedQuotesDoNotEndTheString", R"(identifier "x\" or always or \"")", unmet},
    {"unescapedQuotesEndTheString", R"(identifier "x" or always or identifier "y")", met},
    {"escapedBackslash", R"(identifier "com\\")", refused},
    {"escapedLetter", R"(identifier "com\n")", refused},
    {"backslashOutsideAString", R"(always \)", refused},
    {"singleQuotes", "identifier 'com.brindlewick.app'", refused},
    {"comma", "always, always", refused},
    {"underscoreInAWord", "identifier com_brindlewick", refused},
    {"hyphenInAWord", "identifier com.brindle-wick", refused},
    {"wordThatStartsWithADigit", "certificate leaf[subject.OU] = 9TEAM", refused},
    {"quotedWordThatStartsWithADigit", "certificate leaf[subject.OU] = \"9TEAM\"", unmet},
    {"numberAsAValue", "identifier 5", refused},
    {"hexadecimalNumber", "identifier 0x1F", refused},
    {"partsThatAreAllDigits", "identifier com.1.2", unmet},
    {"dotAtTheEndOfAWord", "identifier com.", refused},
    {"dotAtTheBeginningOfAWord", "identifier .com", refused},
    {"dotsInARow", "identifier com..brindlewick", refused},
};

// Identifiers and hashes of code.
const std::vector<TextCase> codeTerms = {
    {"identifier", "identifier \"com.brindlewick.app\"", met},
    {"identifierAsAWord", "identifier com.brindlewick.app", met},
    {"identifierEquals", "identifier = com.brindlewick.app", met},
    {"identifierEqualsEquals", "identifier == \"com.brindlewick.app\"", met},
    {"identifierTripleEquals", "identifier === com.brindlewick.app", refused},
    {"identifierEqualsTwice", "identifier = = com.brindlewick.app", refused},
    {"identifierUnequal", "identifier != com.brindlewick.app", refused},
    {"identifierInAnotherCase", "identifier com.Brindlewick.app", unmet},
    {"identifierCut", "identifier com.brindlewick", unmet},
    {"identifierLonger", "identifier com.brindlewick.app.x", unmet},
    {"identifierWithABlank", "identifier \"com.brindlewick.app \"", unmet},
    {"identifierEmpty", "identifier \"\"", refused},
    {"identifierWithAWildcard", "identifier \"com.\"*", refused},
    {"identifierAlone", "identifier", refused},
    {"identifierExists", "identifier exists", refused},
    {"identifierThatIsAKeyword", "identifier apple", refused},
    {"identifierThatIsAQuotedKeyword", "identifier \"apple\"", unmet},
    {"identifierThatBeginsWithAKeyword", "identifier apple.x", unmet},
    {"identifierThatIsAHash", "identifier H\"" + codeHash + "\"", refused},
    {"identifierThatIsCalledH", "identifier H", unmet},
    {"codeHash", "cdhash H\"" + codeHash + "\"", met},
    {"codeHashEquals", "cdhash = H\"" + codeHash + "\"", met},
    {"codeHashInCapitals", "cdhash H\"00112233445566778899AABBCCDDEEFF01234567\"", met},
    {"codeHashOfOtherCode", "cdhash H\"00112233445566778899aabbccddeeff01234568\"", unmet},
    {"codeHashAmongOthers", "cdhash H\"" + std::string(40, '0') + "\" or cdhash H\"" + codeHash + "\"", met},
    {"codeHashAsAString", "cdhash \"" + codeHash + "\"", refused},
    {"codeHashInSmallLetters", "cdhash h\"" + codeHash + "\"", refused},
    {"codeHashWithABlank", "cdhash H \"" + codeHash + "\"", refused},
    {"codeHashWithABlankInside", "cdhash H\" " + codeHash.substr(1) + "\"", refused},
    {"codeHashWithoutEnd", "cdhash H\"" + codeHash, refused},
    {"codeHashTooShort", "cdhash H\"" + codeHash.substr(2) + "\"", refused},
    {"codeHashWithAnOddLength", "cdhash H\"" + codeHash.substr(1) + "\"", refused},
    {"codeHashTooLong", "cdhash H\"" + codeHash + "00\"", refused},
    {"codeHashOfSHA256", "cdhash H\"" + std::string(64, '0') + "\"", refused},
    {"codeHashEmpty", "cdhash H\"\"", refused},
    {"codeHashWithALetter", "cdhash H\"" + codeHash.substr(1) + "g\"", refused},
    {"codeHashAlone", "cdhash", refused},
};

// Anchors and slots of the chain leaf, intermediate, root.
const std::vector<TextCase> slots = {
    {"appleAnchor", "anchor apple generic", met},
    {"appleAnchorTheOtherWay", "anchor generic apple", met},
    {"appleAnchorAlone", "anchor apple", refused},
    {"appleAnchorAloneBesideAnd", "anchor apple and always", refused},
    {"genericAnchorAlone", "anchor generic", refused},
    {"anchorAlone", "anchor", refused},
    {"anchorEqualsApple", "anchor = apple generic", refused},
    {"anchorTrusted", "anchor trusted", refused},
    {"anchorAppleWithAName", "anchor apple SoftwareSigning", refused},
    {"anchorWithAFile", "anchor \"/etc/root.cer\"", refused},
    {"certificateTrusted", "certificate leaf trusted", refused},
    {"certificateAnchor", "certificate anchor[subject.CN] exists", refused},
    {"leafMarker", "certificate leaf[field.1.2.840.113635.100.6.1.13] exists", met},
    {"leafMarkerByNumber", "certificate 0[field.1.2.840.113635.100.6.1.13] exists", met},
    {"leafMarkerFromTheRoot", "certificate -3[field.1.2.840.113635.100.6.1.13] exists", met},
    {"leafMarkerInTheAuthority", "certificate 1[field.1.2.840.113635.100.6.1.13] exists", unmet},
    {"authorityMarker", "cert 1[field.1.2.840.113635.100.6.2.6] exists", met},
    {"authorityMarkerAtSlotMinusTwo", "certificate -2[field.1.2.840.113635.100.6.2.6] exists", met},
    {"authorityMarkerBehindABlank", "certificate - 2[field.1.2.840.113635.100.6.2.6]", met},
    {"authorityMarkerInTheRoot", "certificate -1[field.1.2.840.113635.100.6.2.6] exists", unmet},
    {"authorityMarkerInTheLeaf", "certificate leaf[field.1.2.840.113635.100.6.2.6] exists", unmet},
    {"slotBeyondTheChain", "certificate 7[field.1.2.840.113635.100.6.2.6] exists", unmet},
    {"slotJustBeyondTheChain", "certificate 3[subject.CN] exists", unmet},
    {"slotBeyondTheChainFromTheRoot", "certificate -4[subject.CN] exists", unmet},
    {"notASlotBeyondTheChain", "! certificate 7[subject.CN] exists", met},
    {"absentInASlotBeyondTheChain", "certificate 7[subject.CN] absent", unmet},
    {"absentExtensionInASlotBeyondTheChain", "certificate 7[field.1.2.3] absent", unmet},
    {"rootByName", "certificate root[subject.CN] = \"Test Root CA\"", met},
    {"rootByNumber", "certificate 2[subject.CN] = \"Test Root CA\"", met},
    {"rootAsAnchor", "anchor[subject.CN] = \"Test Root CA\"", met},
    {"negativeZero", "certificate -0[subject.CN] exists", refused},
    {"leadingZero", "certificate 01[subject.CN] exists", refused},
    {"twoSigns", "certificate --1[subject.CN] exists", refused},
    {"plusSign", "certificate +1[subject.CN] exists", refused},
    {"minusLeaf", "certificate -leaf[subject.CN] exists", refused},
    {"hugeSlot", "certificate 4294967296[subject.CN] exists", refused},
    {"fractionalSlot", "certificate 1.0[subject.CN] exists", refused},
    {"quotedSlot", "certificate \"\"[subject.CN] exists", refused},
    {"noSlot", "certificate [subject.CN] exists", refused},
    {"slotAlone", "certificate leaf", refused},
    {"certificateAlone", "certificate", refused},
    {"certificates", "certificates leaf[subject.CN] exists", refused},
};

// What is asked about one certificate.
const std::string leaf = "certificate leaf";
const std::vector<TextCase> certificateTerms = {
    {"existsUnsaid", leaf + "[field.1.2.840.113635.100.6.1.13]", met},
    {"existsUnsaidOfNothing", leaf + "[field.1.2.840.113635.100.6.1.14]", unmet},
    {"existsInAComment", leaf + "[field.1.2.840.113635.100.6.1.13] /* exists */ and always", met},
    {"absentExtension", leaf + "[field.1.2.840.113635.100.6.1.14] absent", met},
    {"absentOfWhatIsThere", leaf + "[field.1.2.840.113635.100.6.1.13] absent", unmet},
    {"extensionEquals", leaf + "[field.1.2.840.113635.100.6.1.13] = \"x\"", refused},
    {"extensionEqualsNothing", leaf + "[field.1.2.840.113635.100.6.1.14] = \"\"", refused},
    {"quotedKey", leaf + "[\"field.1.2.840.113635.100.6.1.13\"]", met},
    {"fieldWithoutOID", leaf + "[field.] absent", refused},
    {"quotedFieldWithoutOID", leaf + "[\"field.\"] absent", refused},
    {"fieldWithOneNumber", leaf + "[field.1] absent", refused},
    {"fieldToTheLimit", leaf + "[field.1.2" + times(48, ".3") + "3] absent", met},
    {"fieldBeyondTheLimit", leaf + "[field.1.2" + times(49, ".3") + "] absent", refused},
    {"fieldWithLetters", leaf + "[field.1.2.x] absent", refused},
    {"fieldWithAName", leaf + "[field.commonName] absent", refused},
    {"fieldWithALeadingZero", leaf + "[field.1.2.0840] absent", refused},
    {"fieldWithZeros", leaf + "[field.0.0] absent", met},
    {"fieldWithAnEmptyNumber", leaf + "[\"field.1..2\"] absent", refused},
    {"fieldWithADotAtItsEnd", leaf + "[\"field.1.2.\"] absent", refused},
    {"fieldWithABlank", leaf + "[\"field.1.2 \"] absent", refused},
    {"fieldWithAnImpossibleBeginning", leaf + "[field.3.2] absent", refused},
    {"fieldWithAnImpossibleSecondNumber", leaf + "[field.1.40] absent", refused},
    {"fieldWithALargeSecondNumber", leaf + "[field.2.999] absent", met},
    {"subject", leaf + "[subject.O] = Brindlewick", met},
    {"subjectEqualsEquals", leaf + "[subject.O] == \"Brindlewick\"", met},
    {"subjectInAnotherCase", leaf + "[subject.O] = brindlewick", unmet},
    {"subjectTeam", leaf + "[subject.OU] = TEAM123456", met},
    {"subjectOtherTeam", leaf + "[subject.OU] = TEAM123457", unmet},
    {"subjectWithoutEquals", leaf + "[subject.OU] TEAM123456", refused},
    {"subjectWithoutValue", leaf + "[subject.OU] =", refused},
    {"subjectKeywordAsValue", leaf + "[subject.OU] = apple", refused},
    {"subjectHashAsValue", leaf + "[subject.OU] = H\"" + codeHash + "\"", refused},
    {"subjectWithTwoValues", leaf + "[subject.OU] = TEAM123456 TEAM123456", refused},
    {"subjectExists", leaf + "[subject.UID] exists", met},
    {"subjectExistsUnsaid", leaf + "[subject.UID]", met},
    {"subjectExistsNot", leaf + "[subject.L] exists", unmet},
    {"subjectAbsent", leaf + "[subject.L] absent", met},
    {"subjectAbsentOfWhatIsThere", leaf + "[subject.C] absent", unmet},
    {"subjectEqualsNothing", leaf + "[subject.L] = \"\"", refused},
    {"subjectExistsAndAbsent", leaf + "[subject.L] exists absent", refused},
    {"subjectCountry", leaf + "[subject.C] = US", met},
    {"subjectBeginning", leaf + "[subject.CN] = \"Developer ID\"*", met},
    {"subjectBeginningThatIsItsMiddle", leaf + "[subject.CN] = \"ID Application\"*", unmet},
    {"subjectEnd", leaf + "[subject.CN] = *\"(TEAM123456)\"", met},
    {"subjectEndThatIsItsMiddle", leaf + "[subject.CN] = *\"ID Application\"", unmet},
    {"subjectMiddle", leaf + "[subject.CN] = *\"ID Application\"*", met},
    {"subjectMiddleThatIsNotThere", leaf + "[subject.CN] = *\"ID application\"*", unmet},
    {"subjectMiddleThatIsAll", leaf + "[subject.O] = *Brindlewick*", met},
    {"subjectWildcardsBesideComments", leaf + "[subject.O] = */* a */Brindle/* b */*", met},
    {"subjectTwoWildcards", leaf + "[subject.O] = **Brindlewick", refused},
    {"subjectTwoWildcardsBehind", leaf + "[subject.O] = Brindlewick**", refused},
    {"subjectWildcardAlone", leaf + "[subject.O] = *", refused},
    {"subjectWildcardBeforeNothing", leaf + "[subject.O] = *\"\"", refused},
    {"subjectWildcardBehindNothing", leaf + "[subject.O] = \"\"*", refused},
    {"subjectWildcardInAString", leaf + "[subject.O] = \"Brindle*\"", unmet},
    {"subjectWildcardWithoutEquals", leaf + "[subject.O] *Brindlewick", refused},
    {"subjectUnknownKey", leaf + "[subject.XY] = X", unmet},
    {"subjectUnknownKeyAbsent", leaf + "[subject.XY] absent", unmet},
    {"subjectUnknownKeyUnderNot", "! " + leaf + "[subject.XY] exists", met},
    {"subjectKeyInSmallLetters", leaf + "[subject.ou] = TEAM123456", unmet},
    {"subjectKeyByOID", leaf + "[subject.2.5.4.11] = TEAM123456", unmet},
    {"subjectWithoutKey", leaf + "[\"subject.\"] absent", refused},
    {"subjectAlone", leaf + "[subject] exists", refused},
    {"subjectLess", leaf + "[subject.OU] < Z", refused},
    {"subjectLessOrEqual", leaf + "[subject.OU] <= Z", refused},
    {"subjectGreater", leaf + "[subject.OU] > A", refused},
    {"subjectGreaterOrEqual", leaf + "[subject.OU] >= A", refused},
    {"subjectSimilar", leaf + "[subject.OU] ~ TEAM123456", refused},
    {"unknownPart", leaf + "[colour.OU] = X", refused},
    {"partInAnotherCase", leaf + "[Subject.OU] = X", refused},
    {"issuer", leaf + "[issuer.OU] = X", refused},
    {"extensionPart", leaf + "[extension.1.2.840.113635.100.6.1.13] exists", refused},
    {"policyPart", leaf + "[policy.1.2.840.113635.100.6.1.13] exists", refused},
    {"timestampPart", leaf + "[timestamp.1.2.3] exists", refused},
    {"emptyBrackets", leaf + "[] exists", refused},
    {"openBracket", leaf + "[subject.OU = X", refused},
    {"twoBrackets", leaf + "[[subject.OU]] = X", refused},
    {"keywordInBrackets", leaf + "[apple] exists", refused},
};

// Terms that have a meaning elsewhere.
const std::vector<TextCase> unsupported = {
    {"information", "info[CFBundleVersion] = \"118\"", refused},
    {"informationExists", "! info[CFBundleVersion]", refused},
    {"entitlement", "entitlement[\"x\"] exists", refused},
    {"platform", "platform = 1", refused},
    {"platformIdentifier", "platform identifier \"x\"", refused},
    {"notarized", "notarized", refused},
    {"notNotarized", "! notarized", refused},
    {"legacy", "legacy", refused},
    {"trusted", "trusted", refused},
    {"unsupportedBehindOr", "always or notarized", refused},
    {"unsupportedBehindAnd", "never and legacy", refused},
};

class RequirementTexts : public ::testing::TestWithParam<TextCase> {};
TEST_P(RequirementTexts, getTheirOutcome) { EXPECT_EQ(goodCode().outcomeOf(GetParam().text), GetParam().expected); }
INSTANTIATE_TEST_SUITE_P(Combinations, RequirementTexts, ::testing::ValuesIn(combinations), textName);
INSTANTIATE_TEST_SUITE_P(Texts, RequirementTexts, ::testing::ValuesIn(texts), textName);
INSTANTIATE_TEST_SUITE_P(CodeTerms, RequirementTexts, ::testing::ValuesIn(codeTerms), textName);
INSTANTIATE_TEST_SUITE_P(Slots, RequirementTexts, ::testing::ValuesIn(slots), textName);
INSTANTIATE_TEST_SUITE_P(CertificateTerms, RequirementTexts, ::testing::ValuesIn(certificateTerms), textName);
INSTANTIATE_TEST_SUITE_P(Unsupported, RequirementTexts, ::testing::ValuesIn(unsupported), textName);

const std::string developerID =
    "identifier \"com.brindlewick.app\" and anchor apple generic and certificate 1[field.1.2.840.113635.100.6.2.6] "
    "/* exists */ and certificate leaf[field.1.2.840.113635.100.6.1.13] /* exists */ and "
    "certificate leaf[subject.OU] = TEAM123456";

TEST(Requirement, developerIDIsMetByEachOfItsTermsOnly) {
  EXPECT_EQ(goodCode().outcomeOf(developerID), met);
  Code unanchored;
  unanchored.subject.isAnchored = false;
  EXPECT_EQ(unanchored.outcomeOf(developerID), unmet);
  Code renamed;
  renamed.subject.identifier = "com.brindlewick.other";
  EXPECT_EQ(renamed.outcomeOf(developerID), unmet);
  EXPECT_EQ(Code(PKIShape::developerID("TEAM123457")).outcomeOf(developerID), unmet);
  PKIShape unmarkedLeaf = PKIShape::developerID();
  unmarkedLeaf.leaf.extensions.clear();
  EXPECT_EQ(Code(unmarkedLeaf).outcomeOf(developerID), unmet);
  PKIShape unmarkedAuthority = PKIShape::developerID();
  unmarkedAuthority.intermediate.extensions.clear();
  EXPECT_EQ(Code(unmarkedAuthority).outcomeOf(developerID), unmet);
}

TEST(Requirement, adHocCodeHasNoCertificates) {
  Code code;
  code.subject.chain = {};
  for (const char* text :
       {"anchor apple generic", "certificate leaf[subject.CN] exists", "certificate root[subject.CN]",
        "certificate leaf[subject.CN] absent", "anchor[field.1.2.3] absent"})
    EXPECT_EQ(code.outcomeOf(text), unmet) << text;
  EXPECT_EQ(code.outcomeOf("cdhash H\"" + codeHash + "\""), met);
}

TEST(Requirement, theLastOfSeveralAttributesCounts) {
  PKIShape shape = PKIShape::developerID();
  shape.leaf.subject = {{"OU", "FIRST"}, {"CN", "Both"}, {"OU", "LAST"}};
  const Code code(shape);
  EXPECT_EQ(code.outcomeOf("certificate leaf[subject.OU] = LAST"), met);
  EXPECT_EQ(code.outcomeOf("certificate leaf[subject.OU] = FIRST"), unmet);
  EXPECT_EQ(code.outcomeOf("certificate leaf[subject.OU] absent"), unmet);
}

TEST(Requirement, aSubjectIsComparedAsUTF8) {
  PKIShape shape = PKIShape::developerID();
  shape.leaf.subject = {{"O", "Br\xC3\xBCndl"}};
  const Code code(shape);
  EXPECT_EQ(code.outcomeOf("certificate leaf[subject.O] = \"Br\xC3\xBCndl\""), met);
  EXPECT_EQ(code.outcomeOf("certificate leaf[subject.O] = \"Brundl\""), unmet);
}

TEST(Requirement, anExtensionCountsWhateverItsValueAndCriticality) {
  PKIShape shape = PKIShape::developerID();
  shape.leaf.extensions = {{"1.2.840.113635.100.6.1.13", false, der::utf8("anything")}};
  EXPECT_EQ(Code(shape).outcomeOf(developerID), met);
}

TEST(Requirement, aHashNamesACertificate) {
  const auto hash = [](const Identity& identity) {
    std::string text = "H\"";
    for (const std::uint8_t byte : digestOf(identity.certificate, "sha1"))
      for (const int nibble : {byte >> 4, byte & 15}) text += "0123456789abcdef"[nibble];
    return text + "\"";
  };
  const std::string root = hash(goodCode().pki.root);
  for (const std::string slot : {"certificate root", "certificate -1", "cert 2", "anchor"}) {
    EXPECT_EQ(goodCode().outcomeOf(slot + " = " + root), met);
    EXPECT_EQ(goodCode().outcomeOf(slot + " == " + root), met);
    EXPECT_EQ(goodCode().outcomeOf(slot + " " + root), met);
    EXPECT_EQ(goodCode().outcomeOf(slot + " = " + hash(goodCode().pki.leaf)), unmet);
    EXPECT_EQ(goodCode().outcomeOf(slot + " = " + root + "*"), refused);
  }
  EXPECT_EQ(goodCode().outcomeOf("certificate leaf = " + hash(goodCode().pki.leaf)), met);
  EXPECT_EQ(goodCode().outcomeOf("certificate leaf = " + root), unmet);
  EXPECT_EQ(goodCode().outcomeOf("certificate 3 = " + root), unmet);
}

TEST(Requirement, anIdentifierIsComparedToItsLastByte) {
  Code code;
  code.subject.identifier = std::string_view("com.brindlewick.app\0", 20);
  EXPECT_EQ(code.outcomeOf("identifier com.brindlewick.app"), unmet);
  EXPECT_EQ(code.outcomeOf("! identifier com.brindlewick.app"), met);
}

}  // namespace
}  // namespace brindlewick::testing
