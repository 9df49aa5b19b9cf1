#include "platform/linux/codesign/ResourceRules.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <random>

namespace brindlewick::codesign {
namespace {

PropertyListTree sealing(const std::string& pattern) {
  return {{"^.*", PropertyListNode{true}}, {pattern, PropertyListNode{true}}};
}

std::string repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

/// The pattern of the test has a state for each choice of the last 40 letters: these meet a new one with each letter.
std::string letters(std::mt19937& random, std::size_t count) {
  std::string text;
  while (text.size() < count) text += random() % 2 == 0 ? 'a' : 'b';
  return text;
}

TEST(ResourceRules, needLittleMemoryHoweverManyStatesAPatternHas) {
  auto rules = ResourceRules::compile(sealing("^[ab]*a" + repeated("[ab]", 40) + "c$"), false);
  std::mt19937 random(1);
  const std::size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 60; ++i) EXPECT_EQ(rules.effectOn(letters(random, 400)), RuleEffect{});
  // Kept until the end, the states would take three times as much.
  EXPECT_LT(mallinfo2().uordblks, before + (std::size_t{20} << 20));
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
