#include "trust/JSONObject.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/UnknownMembers.h"

namespace brindlewick {
namespace {

std::optional<JSONObject> parse(std::string_view text) {
  return JSONObject::parse(asBytes(text), {"t", "n", "m", "b", "z", "f", "e", "o", "a", "missing"});
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
  EXPECT_EQ(parse(R"({"n":1e400})")->integer("n"), std::nullopt);
  EXPECT_EQ(parse(R"({"n":-0})")->integer("n"), 0);
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
                                           std::string("{\"a\":1}\0", 8), std::string("\0{}", 3), "{\"a\":\"\\x\"}",
                                           "// c\n{}", std::string(1'048'576, '['), std::string(1'048'576, '{'),
                                           "{\"a\":" + std::string(1'000'000, '[')));

TEST(JSONObjectParse, survivesDeepNestingInAMemberItIgnores) {
  const std::string deep = std::string(400'000, '[') + std::string(400'000, ']');
  const auto object = parse("{\"deep\":" + deep + ",\"n\":1}");
  ASSERT_TRUE(object);
  EXPECT_EQ(object->integer("n"), 1);
}

TEST(JSONObjectParse, decodesEveryEscape) {
  EXPECT_EQ(parse(R"({"a":"\"\\\/\b\f\n\r\t"})")->string("a"), "\"\\/\b\f\n\r\t");
  EXPECT_EQ(parse(R"({"a":"x\u0000y"})")->string("a"), std::string("x\0y", 3));
  EXPECT_EQ(parse(R"({"a":"\u007f\u0080\u07FF\u0800\ud7ff\uE000\uffff"})")->string("a"),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF");
  EXPECT_EQ(parse(R"({"a":"\ud800\udc00\uDBFF\uDFFF"})")->string("a"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(JSONObjectParse, ignoresAByteOrderMarkInFront) {
  EXPECT_EQ(parse("\xEF\xBB\xBF{\"n\":1}")->integer("n"), 1);
  for (const char* text :
       {"\xEF\xBB\xBF", "\xEF\xBB{}", " \xEF\xBB\xBF{}", "\xEF\xBB\xBF\xEF\xBB\xBF{}", "\xFF\xFE{\0}\0"})
    EXPECT_FALSE(parse(text)) << text;
}

TEST(JSONObjectParse, keepsOnlyTheMembersThatAreAskedFor) {
  for (const auto& [name, text] : testing::withMembersToIgnore(R"({"n":7,"t":"x"})")) {
    const auto object = parse(text);
    ASSERT_TRUE(object) << name;
    EXPECT_EQ(object->integer("n"), 7) << name;
    EXPECT_EQ(object->string("t"), "x") << name;
    EXPECT_EQ(object->integer("x"), std::nullopt) << name;
  }
}

TEST(JSONObjectParse, readsTheWholeTextWhateverStandsInIt) {
  for (const auto& [name, text] : testing::spoiledJSON(R"({"n":7,"t":"x"})")) EXPECT_FALSE(parse(text)) << name << text;
}

TEST(JSONObjectParse, refusesAKeyThatIsAskedForTwice) {
  for (const char* text :
       {R"({"n":1,"n":1})", R"({"n":1,"\u006e":1})", R"({"n":{},"x":1e400,"n":[]})", R"({"n":1e400,"n":1})"})
    EXPECT_FALSE(parse(text)) << text;
}

}  // namespace
}  // namespace brindlewick
