// JSONObject against another reader of JSON that shares no code with it.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/JSONOracle.h"
#include "trust/JSONObject.h"

namespace brindlewick {
namespace {

using testing::agreesWithAnotherReader;

bool isAccepted(const std::string& text) { return JSONObject::parse(asBytes(text), {"a", "b"}).has_value(); }

/// How many texts of up to so many characters of an alphabet are accepted between a beginning and an end. The other
/// reader has to agree on each.
int acceptedBetween(const std::string& start, std::string_view alphabet, std::size_t most, const std::string& end) {
  int accepted = 0;
  std::vector<std::string> texts{""};
  for (std::size_t length = 0; length <= most; ++length) {
    std::vector<std::string> longer;
    for (const auto& middle : texts) {
      const auto text = start + middle + end;
      EXPECT_TRUE(agreesWithAnotherReader(asBytes(text)).value_or(true)) << text;
      accepted += isAccepted(text) ? 1 : 0;
      if (length < most)
        for (const char c : alphabet) longer.push_back(middle + c);
    }
    texts = std::move(longer);
  }
  return accepted;
}

TEST(JSONObjectAgreement, holdsForEveryShortNumber) { EXPECT_GT(acceptedBetween("{\"a\":", "-+.eE019", 5, "}"), 1000); }

TEST(JSONObjectAgreement, holdsForEveryShortStructure) { EXPECT_GT(acceptedBetween("{", "{}[],:\"a1", 6, ""), 10); }

TEST(JSONObjectAgreement, holdsForEveryShortStructureInAMember) {
  EXPECT_GT(acceptedBetween("{\"b\":", "{}[],:\"a1", 5, "}"), 30);
}

TEST(JSONObjectAgreement, holdsForEveryShortString) {
  EXPECT_GT(acceptedBetween("{\"a\":\"", "\\\"/bfnrtuU0", 5, "\"}"), 1000);
}

TEST(JSONObjectAgreement, holdsForEveryPairOfBytesInAString) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_GT(acceptedBetween("{\"a\":\"", all, 2, "\"}"), 10'000);
}

TEST(JSONObjectAgreement, holdsForEveryByteInEveryPlace) {
  const std::string valid = " {\"a\" : -1.5e+9, \"c\":[true,{}], \"b\":\"\\u00e9\xC3\xA9\"}\n";
  ASSERT_TRUE(isAccepted(valid));
  for (std::size_t position = 0; position <= valid.size(); ++position) {
    for (int byte = 0; byte < 256; ++byte) {
      const auto inserted = std::string(valid).insert(position, 1, static_cast<char>(byte));
      EXPECT_TRUE(agreesWithAnotherReader(asBytes(inserted)).value_or(true)) << inserted;
      auto replaced = valid + " ";
      replaced[position] = static_cast<char>(byte);
      EXPECT_TRUE(agreesWithAnotherReader(asBytes(replaced)).value_or(true)) << replaced;
    }
    EXPECT_EQ(agreesWithAnotherReader(asBytes(valid.substr(0, position))), true) << position;
  }
}

TEST(JSONObjectAgreement, holdsForEveryEscapedUnit) {
  constexpr std::string_view digits = "0123456789aBcDeF";
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    std::string escape = "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) escape += digits[unit >> shift & 15];
    for (const auto& string : {escape, "\\ud801" + escape, escape + "\\udc01"}) {
      const auto text = "{\"a\":\"" + string + "\"}";
      ASSERT_EQ(agreesWithAnotherReader(asBytes(text)), true) << text;
    }
  }
}

/// Texts of the grammar of RFC 8259, with what readers stumble over in every place.
class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}

  std::string document() { return space() + object(0) + space(); }

  /// The same with a few bytes inserted, replaced, left out or repeated: nearly valid, or still valid.
  std::string spoiled(std::string text) {
    using namespace std::string_view_literals;
    constexpr auto bytes = "{}[]:,\"\\/ue+-.019tfn \t\n\f\0\x1F\x7F\x80\xA9\xBF\xC3\xED\xA0\xEF\xBB\xF4\xFF"sv;
    for (auto count = below(3); count-- > 0 && !text.empty();) {
      const auto at = below(text.size());
      const auto byte = bytes[below(bytes.size())];
      switch (below(4)) {
        case 0:
          text.insert(at, 1, byte);
          break;
        case 1:
          text[at] = byte;
          break;
        case 2:
          text.erase(at, 1 + below(3));
          break;
        default:
          text.insert(below(text.size()), std::string(text, at, 1 + below(9)));
      }
    }
    return text;
  }

 private:
  std::size_t below(std::size_t end) { return random_() % end; }
  std::string pick(std::initializer_list<const char*> choices) { return choices.begin()[below(choices.size())]; }
  std::string space() { return pick({"", "", "", " ", "\n", "\t\r"}); }
  std::string string() {
    return pick({"\"\"", "\"a\"", "\"b\"", "\"\\u0061\"", "\"x\"", "\"\\\"\\\\\"", "\"\\ud83d\\ude00\"", "\"\xC3\xA9\"",
                 "\"1e400\"", "\"}\""});
  }
  std::string number() {
    return pick({"0", "-0", "1", "-1.5", "1e5", "1E-5", "0.0e+0", "9223372036854775807", "9223372036854775808",
                 "-9223372036854775808", "-9223372036854775809", "18446744073709551616", "1e400", "-1e400", "1e-400",
                 "1e308", "1e309"});
  }
  std::string value(int depth) {
    switch (below(depth > 4 ? 5 : 8)) {
      case 0:
        return pick({"true", "false", "null"});
      case 1:
      case 2:
        return string();
      case 3:
      case 4:
        return number();
      case 5:
        return object(depth + 1);
      default:
        return list("[", "]", [&] { return value(depth + 1); });
    }
  }
  std::string object(int depth) {
    return list("{", "}", [&] { return string() + space() + ":" + space() + value(depth + 1); });
  }
  template <typename Item>
  std::string list(const char* open, const char* close, Item item) {
    std::string text = open + space();
    for (auto count = below(4); count > 0; --count) text += item() + space() + (count > 1 ? "," : "") + space();
    return text + close;
  }

  std::mt19937 random_;
};

TEST(JSONObjectAgreement, holdsForGeneratedTextsValidAndNearlyValid) {
  Generator generator(8259);
  int judged = 0, accepted = 0, refused = 0;
  for (int round = 0; round < 40'000; ++round) {
    const auto valid = generator.document();
    for (const auto& text : {valid, generator.spoiled(valid)}) {
      const auto agrees = agreesWithAnotherReader(asBytes(text));
      ASSERT_TRUE(agrees.value_or(true)) << text;
      if (agrees) ++judged;
      ++(isAccepted(text) ? accepted : refused);
    }
  }
  EXPECT_GT(judged, 10'000);
  EXPECT_GT(accepted, 10'000);
  EXPECT_GT(refused, 10'000);
}

TEST(JSONObjectAgreement, holdsWhateverHugeNumbersAreCalled) {
  // The other reader has no verdict on such a number. Whether a text is JSON does not depend on how large its numbers
  // are, so a text that holds one is judged as with a small number in its place.
  Generator generator(400);
  int accepted = 0;
  for (int round = 0; round < 20'000; ++round) {
    auto small = generator.spoiled(generator.document());
    for (auto at = small.find("e400"); at != std::string::npos; at = small.find("e400")) small.replace(at, 4, "e10");
    ASSERT_TRUE(agreesWithAnotherReader(asBytes(small)).value_or(true)) << small;
    auto huge = small;
    for (auto at = huge.find("1e10"); at != std::string::npos; at = huge.find("1e10", at + 9))
      huge.insert(at + 4, "99999");
    ASSERT_EQ(isAccepted(huge), isAccepted(small)) << huge;
    if (huge != small && isAccepted(huge)) ++accepted;
  }
  EXPECT_GT(accepted, 1000);
}

}  // namespace
}  // namespace brindlewick
