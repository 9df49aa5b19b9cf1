#include "platform/URLGrammar.h"

#include <gtest/gtest.h>

#include "platform/URL.h"
#include "unit/platform/URIGrammar.h"

namespace brindlewick {
namespace {

using testing::nearly;
using testing::uriGrammar;

/// Counts both sides too: a comparison in which one answer never occurs shows nothing.
struct Comparison {
  std::size_t accepted = 0, refused = 0;

  void add(const std::string& text) {
    const bool isAllowed = !text.empty() && uriGrammar().matches("URI-reference", text);
    ASSERT_EQ(URL::parse(text).has_value(), isAllowed) << ::testing::PrintToString(text);
    ++(isAllowed ? accepted : refused);
  }
};

void expectPartsOf(const testing::ABNFGrammar::Derivation& made) {
  const auto& text = made.text;
  const auto url = URL::parse(text);
  ASSERT_TRUE(url) << text;
  const auto part = [&](const char* rule) {
    const auto found = made.parts.find(rule);
    return found == made.parts.end() ? std::nullopt : std::optional(found->second);
  };
  EXPECT_EQ(url->components().composed(), text);
  EXPECT_EQ(url->components().scheme, part("scheme")) << text;
  EXPECT_EQ(url->components().authority, part("authority")) << text;
  EXPECT_EQ(url->query(), part("query")) << text;
  EXPECT_EQ(url->fragment(), part("fragment")) << text;
  EXPECT_EQ(url->host().value_or(""), part("host").value_or("")) << text;
  EXPECT_EQ(url->port().value_or(""), part("port").value_or("")) << text;
  EXPECT_EQ(url->user().has_value(), part("userinfo").has_value()) << text;
  const auto password = url->password() ? ":" + *url->password() : "";
  EXPECT_EQ(url->user().value_or("") + password, part("userinfo").value_or("")) << text;
  std::optional<std::string> path;
  for (const char* form : {"path-abempty", "path-absolute", "path-noscheme", "path-rootless", "path-empty"})
    if (part(form)) path = part(form);
  EXPECT_EQ(url->path(), path) << text;
}

TEST(URLGrammar, readsWhatTheStandardsGrammarMakesAndFindsItsParts) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 10'000; ++i) {
    const auto made = uriGrammar().derive(i % 2 == 0 ? "URI" : "relative-ref", random);
    if (!made.text.empty()) expectPartsOf(made);
  }
}

TEST(URLGrammar, isTheStandardsForTextsThatAreNearlyValid) {
  std::mt19937_64 random(2);
  Comparison comparison;
  for (int i = 0; i < 10'000; ++i) comparison.add(nearly(uriGrammar().derive("URI-reference", random).text, random));
  EXPECT_GT(comparison.accepted, 2'000U);
  EXPECT_GT(comparison.refused, 2'000U);
}

TEST(URLGrammar, isTheStandardsForHostsThatAreNearlyValid) {
  std::mt19937_64 random(3);
  Comparison comparison;
  for (const char* rule : {"IPv6address", "IPvFuture", "IPv4address", "authority"}) {
    const bool isLiteral = std::string(rule).starts_with("IPv6") || std::string(rule).starts_with("IPvF");
    for (int i = 0; i < 1'500; ++i) {
      const auto text = nearly(uriGrammar().derive(rule, random).text, random);
      comparison.add(isLiteral ? "https://[" + text + "]/" : "https://" + text + "/");
    }
  }
  EXPECT_GT(comparison.accepted, 1'000U);
  EXPECT_GT(comparison.refused, 1'000U);
}

TEST(URLGrammar, isTheStandardsForEveryShortText) {
  using namespace std::string_view_literals;
  constexpr auto characters = ":/?#[]@%.a1v&\0\xA0"sv;
  Comparison comparison;
  std::vector<std::string> texts{""};
  for (std::size_t i = 0; i < texts.size() && texts[i].size() < 4; ++i)
    for (const char c : characters) texts.push_back(texts[i] + c);
  for (const auto& text : texts)
    for (const char* before : {"", "s://", "//[::"})
      if (text.size() < 4 || *before == '\0') comparison.add(before + text);
  EXPECT_GT(comparison.accepted, 2'000U);
  EXPECT_GT(comparison.refused, 2'000U);
}

TEST(URLGrammar, isTheStandardsForEveryByteAtEveryPlace) {
  Comparison comparison;
  for (const std::string text :
       {"Ht+1://u%2F:p@h.o-1:80/a/%E4?q%20=/?#f", "a;b/c:d@e/", "//[1:2::3:1.2.3.40]:1", "s:x//y"})
    for (std::size_t place = 0; place < text.size(); ++place)
      for (int byte = 0; byte < 256; ++byte) {
        auto spoiled = text;
        spoiled[place] = static_cast<char>(byte);
        comparison.add(spoiled);
      }
  EXPECT_GT(comparison.accepted, 2'000U);
  EXPECT_GT(comparison.refused, 2'000U);
}

/// All lists of up to nine groups on each side of a gap or of none, with an IPv4 address at each place or none.
TEST(URLGrammar, knowsEveryFormOfAnIPv6Address) {
  Comparison comparison;
  for (int before = 0; before <= 9; ++before)
    for (int after = -1; after <= 9; ++after)  // -1: no gap
      for (int address = -1; address < before + after; ++address) {
        std::string text;
        for (int i = 0; i < before + after; ++i) {
          if (i > 0 && i != before) text += ':';
          if (i == before) text += "::";
          text += i == address ? "1.2.3.4" : "ff0";
        }
        if (after == 0) text += "::";
        comparison.add("//[" + text + "]");
        ASSERT_EQ(URLGrammar::isIPv6Address(text), uriGrammar().matches("IPv6address", text)) << text;
      }
  EXPECT_GT(comparison.accepted, 50U);
  EXPECT_GT(comparison.refused, 500U);
}

TEST(URLGrammar, hasOctetsUpTo255WithoutLeadingZeros) {
  for (int value = 0; value <= 1100; ++value)
    for (const char* zeros : {"", "0", "00"}) {
      const auto text = "::1.2." + (zeros + std::to_string(value)) + ".3";
      EXPECT_EQ(URLGrammar::isIPv6Address(text), value <= 255 && *zeros == '\0') << text;
    }
}

TEST(URLGrammar, hasNoZones) {
  for (const char* text : {"fe80::1%25eth0", "fe80::1%eth0", "fe80::1%25", "fe80::%31"}) {
    EXPECT_FALSE(URLGrammar::isIPv6Address(text)) << text;
    EXPECT_FALSE(URL::parse("https://[" + std::string(text) + "]/")) << text;
  }
}

}  // namespace
}  // namespace brindlewick
