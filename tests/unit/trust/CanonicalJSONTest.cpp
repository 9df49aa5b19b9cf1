#include "trust/CanonicalJSON.h"

#include <gtest/gtest.h>

namespace brindlewick {
namespace {

std::optional<JSONObject> parse(std::string_view text) { return JSONObject::parse(asBytes(text)); }

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

TEST(JSONObjectParse, isStrictAboutTypes) {
  const auto object = parse(R"({"t":"x","n":7,"b":true,"z":null,"f":1.0,"e":1e0,"m":-9223372036854775808,
                               "o":{"n":8},"a":[9]})");
  ASSERT_TRUE(object);
  EXPECT_EQ(object->string("t"), "x");
  EXPECT_EQ(object->integer("n"), 7);
  EXPECT_EQ(object->integer("m"), std::numeric_limits<std::int64_t>::min());
  for (const char* key : {"t", "b", "z", "f", "e", "o", "a", "missing"}) EXPECT_EQ(object->integer(key), std::nullopt);
  for (const char* key : {"n", "b", "z", "f", "o", "a", "missing"}) EXPECT_EQ(object->string(key), std::nullopt);
}

TEST(JSONObjectParse, readsOnlyIntegersInTheSignedRange) {
  EXPECT_EQ(parse(R"({"n":9223372036854775807})")->integer("n"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(parse(R"({"n":9223372036854775808})")->integer("n"), std::nullopt);
  EXPECT_EQ(parse(R"({"n":-9223372036854775809})")->integer("n"), std::nullopt);
  EXPECT_EQ(parse(R"({"n":1e400})"), std::nullopt);
}

TEST(JSONObjectParse, doesNotMistakeANestedMemberForAnOuterOne) {
  EXPECT_EQ(parse(R"({"o":{"n":8,"p":[{"n":9}]}})")->integer("n"), std::nullopt);
  EXPECT_EQ(parse(R"({"o":{"n":8},"n":1})")->integer("n"), 1);
}

class JSONObjectParseRefuses : public ::testing::TestWithParam<std::string> {};
TEST_P(JSONObjectParseRefuses, theText) { EXPECT_FALSE(parse(GetParam())); }
INSTANTIATE_TEST_SUITE_P(Texts, JSONObjectParseRefuses,
                         ::testing::Values("", " ", "null", "1", "\"x\"", "[]", "[{}]", "{", "}", "{}{}", "{} x",
                                           "{\"a\":1,}", "{'a':1}", "{a:1}", "{\"a\":01}", "{\"a\":+1}", "{\"a\":.5}",
                                           "{\"a\":NaN}", "{\"a\":\"\\ud800\"}", "{\"a\":\"\xFF\"}", "{\"a\":\"\n\"}",
                                           "{\"a\":1,\"a\":1}", "{\"a\":1,\"\\u0061\":2}",
                                           std::string("{\"a\":1}\0", 8), std::string("\0{}", 3), "{\"a\":\"\\x\"}",
                                           "// c\n{}", std::string(1'048'576, '['), std::string(1'048'576, '{'),
                                           "{\"a\":" + std::string(1'000'000, '[')));

TEST(JSONObjectParse, survivesDeepNestingInAMemberItIgnores) {
  const std::string deep = std::string(400'000, '[') + std::string(400'000, ']');
  const auto object = parse("{\"deep\":" + deep + ",\"n\":1}");
  ASSERT_TRUE(object);
  EXPECT_EQ(object->integer("n"), 1);
}

TEST(JSONObjectParse, keepsAnEscapedNUL) {
  EXPECT_EQ(parse("{\"a\":\"x\\u0000y\"}")->string("a"), std::string("x\0y", 3));
}

}  // namespace
}  // namespace brindlewick
