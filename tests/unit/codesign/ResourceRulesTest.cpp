#include "platform/linux/codesign/ResourceRules.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <random>
#include <string>
#include <utility>

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

PropertyListTree sealing(const std::string& pattern) {
  return {{"^.*", PropertyListNode{true}}, {pattern, PropertyListNode{true}}};
}

/// The rule that these rules break; empty when they compile.
std::string brokenRule(const PropertyListTree& rules) try {
  static_cast<void>(ResourceRules::compile(rules, false));
  return "";
} catch (const Refusal& refusal) {
  return refusal.what();
}

std::string letters(std::mt19937& random, std::size_t count) {
  std::string text;
  while (text.size() < count) text += random() % 2 == 0 ? 'a' : 'b';
  return text;
}

// Each has a state for each choice of the last letters, or would with more of them.
TEST(ResourceRules, needLittleMemoryWithTheHeaviestPatterns) {
  for (const std::string pattern : {"^[ab]*a[ab][ab][ab]c$", "^.*a(aaa|aba)(aba|bbb)...c$", ".*a?b?a?(a|b)(a|b)...c$",
                                    "^.*a.*b.*a.*bababababababababababababababababababababababababababababababc$"}) {
    const auto rules = ResourceRules::compile(sealing(pattern), false);
    std::mt19937 random(1);
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 300; ++i) EXPECT_EQ(rules.effectOn(letters(random, 1000)), RuleEffect{});
    EXPECT_LT(mallinfo2().uordblks, before + (std::size_t{1} << 20)) << pattern;
  }
}

TEST(ResourceRules, leaveFewChoicesToAPattern) {
  const std::pair<std::string, std::string> limits[] = {
      {"^[ab]*a[ab][ab][ab]c$", "^[ab]*a[ab][ab][ab][ab]c$"},
      {"^.*a...c$", "^.*a....c$"},
      {"^a*b*a+b?$", "^a*b*a+b?a?$"},
      {"^a*(a|b)(a|b)$", "^a*(a|b|c)(a|b)$"},
      {"^(a|b)(a|b)$", "^(a|b)(a|b)(a|b)$"},
      {"^a*\\.\\.\\.\\.\\*\\.\\($", "^a*\\.\\......\\.$"},
      {"^" + std::string(127, 'a'), "^" + std::string(128, 'a')},
  };
  for (const auto& [good, bad] : limits) {
    EXPECT_EQ(brokenRule(sealing(good)), "") << good;
    EXPECT_EQ(brokenRule(sealing(bad)), "a pattern matches in linear time") << bad;
  }
}

TEST(ResourceRules, answerTheSameOverAndOver) {
  auto rules = ResourceRules::compile(
      {{"^.*", PropertyListNode{true}},
       {"^PkgInfo$", PropertyListNode{PropertyListTree{{"omit", PropertyListNode{true}},
                                                       {"weight", PropertyListNode{std::int64_t{20}}}}}}},
      false);
  for (int i = 0; i < 2000; ++i) {
    ASSERT_EQ(rules.effectOn("PkgInfo"), (RuleEffect{.isOmitted = true}));
    ASSERT_EQ(rules.effectOn("Resources/PkgInfo"), RuleEffect{});
  }
}

}  // namespace
}  // namespace brindlewick::codesign
