#include "trust/UpdateManifest.h"

#include <gtest/gtest.h>

#include <functional>

#include "support/Fails.h"
#include "support/SignedFeed.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

using testing::fails;
using testing::validManifest;

std::string canonical() { return std::string(asText(CanonicalUpdateManifest::encode(validManifest()).value())); }

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  const auto at = text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return text.replace(at, what.size(), with);
}

TEST(CanonicalUpdateManifest, isOneLineOfSortedMembers) {
  EXPECT_EQ(canonical(), R"({"appIdentifier":"com.brindlewick.app",)"
                         R"("artifactSHA256":"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",)"
                         R"("artifactURL":"https://updates.brindlewick.example/Brindlewick-2.4.0.zip",)"
                         R"("build":118,"minimumSystemVersion":"12.0","schemaVersion":1,"version":"2.4.0"})");
  EXPECT_EQ(canonical(), canonical());
}

TEST(CanonicalUpdateManifest, isReadBackFromItsPayload) {
  EXPECT_EQ(CanonicalUpdateManifest::fromPayload(asBytes(canonical())), validManifest());
}

struct Spelling {
  const char* name;
  std::function<std::string(std::string)> respell;
};

class CanonicalUpdateManifestRefuses : public ::testing::TestWithParam<Spelling> {};
TEST_P(CanonicalUpdateManifestRefuses, anotherSpelling) {
  const auto payload = GetParam().respell(canonical());
  EXPECT_THAT([&] { static_cast<void>(CanonicalUpdateManifest::fromPayload(asBytes(payload))); },
              fails(UpdateSecurityError::nonCanonicalPayload));
}
INSTANTIATE_TEST_SUITE_P(
    Spellings, CanonicalUpdateManifestRefuses,
    ::testing::Values(
        Spelling{"trailingNewline", [](auto text) { return text + "\n"; }},
        Spelling{"leadingBlank", [](auto text) { return " " + text; }},
        Spelling{"byteOrderMark", [](auto text) { return "\xEF\xBB\xBF" + text; }},
        Spelling{"blankAfterAColon", [](auto text) { return replaced(text, "\"build\":", "\"build\": "); }},
        Spelling{"extraMember", [](auto text) { return replaced(text, "\"build\"", "\"b\":1,\"build\""); }},
        Spelling{"extraMemberAtTheEnd",
                 [](auto text) { return replaced(text, "\"2.4.0\"}", "\"2.4.0\",\"z\":null}"); }},
        Spelling{"declarationOrder",
                 [](auto text) {
                   return replaced(replaced(text, "\"schemaVersion\":1,", ""), "{", "{\"schemaVersion\":1,");
                 }},
        Spelling{"escapedSlash", [](auto text) { return replaced(text, "https://", "https:\\/\\/"); }},
        Spelling{"escapedLetter", [](auto text) { return replaced(text, "2.4.0\"}", "2.4.\\u0030\"}"); }},
        Spelling{"fraction", [](auto text) { return replaced(text, "118", "118.0"); }},
        Spelling{"exponent", [](auto text) { return replaced(text, "118", "118e0"); }},
        Spelling{"plusSign", [](auto text) { return replaced(text, "118", "+118"); }},
        Spelling{"numberAsText", [](auto text) { return replaced(text, "118", "\"118\""); }},
        Spelling{"trueForANumber", [](auto text) { return replaced(text, "118", "true"); }},
        Spelling{"numberBeyond64Bits", [](auto text) { return replaced(text, "118", "9223372036854775808"); }},
        Spelling{"missingMember", [](auto text) { return replaced(text, "\"build\":118,", ""); }},
        Spelling{"repeatedMember",
                 [](auto text) { return replaced(text, "\"build\":118", "\"build\":118,\"build\":118"); }},
        Spelling{"nullMember", [](auto text) { return replaced(text, "\"12.0\"", "null"); }},
        Spelling{"notJSON", [](auto) { return "manifest"; }}, Spelling{"empty", [](auto) { return ""; }},
        Spelling{"anArray", [](auto text) { return "[" + text + "]"; }}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace brindlewick
