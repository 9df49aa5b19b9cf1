#include "trust/CanonicalJSON.h"

#include <gtest/gtest.h>

namespace brindlewick {
namespace {

std::string encode(const CanonicalJSON::Members& members) {
  return std::string(asText(CanonicalJSON::encode(members).value()));
}

TEST(CanonicalJSONEncode, sortsKeysAndIsCompact) {
  EXPECT_EQ(encode({{"b", std::int64_t{-1}}, {"a", true}, {"B", "x"}}), R"({"B":"x","a":true,"b":-1})");
  EXPECT_EQ(encode({}), "{}");
}

TEST(CanonicalJSONEncode, leavesSlashesAndNonASCIIAsTheyAre) {
  EXPECT_EQ(encode({{"k", "a/b\xC3\xA4\xF0\x9F\x98\x80"}}), "{\"k\":\"a/b\xC3\xA4\xF0\x9F\x98\x80\"}");
}

TEST(CanonicalJSONEncode, escapesWhatJSONMustEscape) {
  EXPECT_EQ(encode({{"k", std::string("\"\\\n\t\x01\0", 6)}}), R"({"k":"\"\\\n\t\u0001\u0000"})");
}

TEST(CanonicalJSONEncode, refusesWhatIsNotUTF8) {
  EXPECT_EQ(CanonicalJSON::encode({{"k", "\xFF"}}), std::nullopt);
  EXPECT_EQ(CanonicalJSON::encode({{"k", "\xED\xA0\x80"}}), std::nullopt);
}

}  // namespace
}  // namespace brindlewick
