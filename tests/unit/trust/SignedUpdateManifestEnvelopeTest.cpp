#include "trust/SignedUpdateManifestEnvelope.h"

#include <gtest/gtest.h>

#include "support/UnknownMembers.h"

namespace brindlewick {
namespace {

using Envelope = SignedUpdateManifestEnvelope;

constexpr std::string_view plain = R"({"payload":"p","signature":"s"})";

TEST(SignedUpdateManifestEnvelope, isWrittenWithThePayloadFirst) {
  EXPECT_EQ(asText(CanonicalSignedEnvelope::encode({"cGF5/+8=", "c2ln"}).value()),
            R"({"payload":"cGF5/+8=","signature":"c2ln"})");
}

TEST(SignedUpdateManifestEnvelope, ignoresOtherMembersAndLayout) {
  EXPECT_EQ(Envelope::decode(asBytes("{ \"signature\" : \"s\",\n\"note\":[1],\"payload\":\"p\" }\n")),
            (Envelope{"p", "s"}));
}

TEST(SignedUpdateManifestEnvelope, ignoresOtherMembersWhateverTheyHold) {
  for (const auto& [name, text] : testing::withMembersToIgnore(plain))
    EXPECT_EQ(Envelope::decode(asBytes(text)), (Envelope{"p", "s"})) << name;
}

TEST(SignedUpdateManifestEnvelope, isRefusedIfAnythingInTheTextIsNoJSON) {
  for (const auto& [name, text] : testing::spoiledJSON(plain))
    EXPECT_EQ(Envelope::decode(asBytes(text)), std::nullopt) << name << ": " << text;
}

TEST(SignedUpdateManifestEnvelope, needsBothTexts) {
  for (const char* json :
       {R"({"payload":"p"})", R"({"signature":"s"})", R"({"payload":1,"signature":"s"})",
        R"({"payload":null,"signature":"s"})", R"({"payload":1e400,"signature":"s"})",
        R"({"payload":["p"],"signature":"s"})", R"({"x":{"payload":"p"},"signature":"s"})",
        R"({"Payload":"p","signature":"s"})", R"({"payload\u0000":"p","signature":"s"})", R"(["p","s"])"})
    EXPECT_EQ(Envelope::decode(asBytes(json)), std::nullopt) << json;
}

TEST(SignedUpdateManifestEnvelope, isRefusedIfAMemberThatItKnowsStandsTwice) {
  for (const char* json :
       {R"({"payload":"p","payload":"p","signature":"s"})", R"({"payload":"p","signature":"s","payload":"p"})",
        R"({"payload":"p","signature":"s","signature":null})", R"({"payload":"p","signature":"s","payl\u006fad":"p"})",
        R"({"payload":{"a":1},"payload":"p","signature":"s"})", R"({"payload":[],"payload":"p","signature":"s"})",
        R"({"payload":1e400,"payload":"p","signature":"s"})", R"({"payload":"p","signature":"s","payload":1e400})",
        R"({"payload":"p","x":1e400,"payload":"p","signature":"s"})"})
    EXPECT_EQ(Envelope::decode(asBytes(json)), std::nullopt) << json;
}

}  // namespace
}  // namespace brindlewick
