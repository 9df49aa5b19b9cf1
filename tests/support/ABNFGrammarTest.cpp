#include "support/ABNFGrammar.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace brindlewick::testing {
namespace {

constexpr std::string_view rules = R"abnf(
list   = "[" [ item *2( "," item ) ] "]"
item   = word
       / number / 0word
word   = 1*3ALPHA
number = "0x" 2HEXDIG / %x31-33 [ "1" ] "1"
)abnf";

TEST(ABNFGrammar, acceptsWhatItsRulesStandForAndNothingElse) {
  const ABNFGrammar grammar(rules);
  for (const char* text : {"[]", "[abc]", "[Z,0xFf,]", "[0Xa0]", "[11]", "[21]", "[311,,]"})
    EXPECT_TRUE(grammar.matches("list", text)) << text;
  for (const char* text :
       {"", "[", "[abcd]", "[a,b,c,d]", "[0xF]", "[0xFG]", "[1]", "[3111]", "[41]", "[]]", "x[]", "(a)"})
    EXPECT_FALSE(grammar.matches("list", text)) << text;
}

TEST(ABNFGrammar, makesWhatItAcceptsAndSaysWhatEachRuleBecame) {
  const ABNFGrammar grammar(rules);
  std::mt19937_64 random(1);
  bool hasWord = false, hasNumber = false, isEmpty = false;
  for (int i = 0; i < 1'000; ++i) {
    const auto [text, parts] = grammar.derive("list", random);
    EXPECT_TRUE(grammar.matches("list", text)) << text;
    EXPECT_EQ(parts.at("list"), text);
    for (const auto& [rule, part] : parts) EXPECT_TRUE(grammar.matches(rule, part)) << rule << ": " << part;
    hasWord = hasWord || parts.contains("word");
    hasNumber = hasNumber || parts.contains("number");
    isEmpty = isEmpty || text == "[]";
  }
  EXPECT_TRUE(hasWord && hasNumber && isEmpty);
}

TEST(ABNFGrammar, refusesWhatIsNoGrammar) {
  for (const char* text : {"a", "a =", "a = (b", "a = [b)", "a = b\na = c", "= b", "a = b /"})
    EXPECT_THROW(ABNFGrammar{text}, std::invalid_argument) << text;
  EXPECT_THROW(static_cast<void>(ABNFGrammar("a = b").matches("a", "x")), std::out_of_range);
  EXPECT_THROW(static_cast<void>(ABNFGrammar("a = *\"x\"").matches("a", std::string(256, 'x'))), std::length_error);
}

}  // namespace
}  // namespace brindlewick::testing
