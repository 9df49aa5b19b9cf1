#pragma once

#include <bitset>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace brindlewick::testing {

/// A grammar read from its text in ABNF (RFC 5234), to accept texts with and to make them with: what a parser does is
/// compared with what a standard says, without anybody's reading of it in between.
///
/// Knows the core rules ALPHA, DIGIT and HEXDIG, quoted strings (in any case of letters), values and ranges of them
/// ("%x31-39"), groups, options, repetitions, and lines that begin with a blank as the continuation of a rule. No
/// comments.
class ABNFGrammar {
 public:
  /// Throws std::invalid_argument on a text that is no such grammar.
  explicit ABNFGrammar(std::string_view text);

  static constexpr std::size_t maximumTextLength = 255;

  /// Whether a text is what a rule stands for. Follows all readings at once, so that none is missed. Throws
  /// std::length_error on a text that is too long, std::out_of_range on a rule that is none.
  [[nodiscard]] bool matches(const std::string& rule, std::string_view text) const;

  struct Derivation {
    std::string text;
    /// What each rule that was used stands for; the last time, if it was used more than once.
    std::map<std::string, std::string> parts;
  };

  /// A text that a rule stands for, never too long.
  [[nodiscard]] Derivation derive(const std::string& rule, std::mt19937_64& random) const;

 private:
  struct Node {
    enum class Kind { rule, range, sequence, choice, repetition };
    Kind kind = Kind::sequence;
    std::string rule = {};
    unsigned char low = 0, high = 0;
    std::size_t minimum = 0, maximum = 0;
    std::vector<Node> children = {};
  };
  class Reader;
  /// Places between the characters of a text.
  using Places = std::bitset<maximumTextLength + 1>;

  [[nodiscard]] Places ends(const Node& node, std::string_view text, const Places& starts) const;
  [[nodiscard]] Places endsOfRepetition(const Node& node, std::string_view text, Places starts) const;
  void derive(const Node& node, std::mt19937_64& random, Derivation& derivation) const;

  std::map<std::string, Node> rules_;
};

}  // namespace brindlewick::testing
