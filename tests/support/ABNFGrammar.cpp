#include "support/ABNFGrammar.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "platform/AsciiText.h"

namespace brindlewick::testing {
namespace {

constexpr auto unbounded = std::numeric_limits<std::size_t>::max();

}  // namespace

/// Reads the rules by recursive descent: alternatives of sequences of repetitions of elements.
class ABNFGrammar::Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  std::map<std::string, Node> rules() {
    std::map<std::string, Node> rules;
    skip(" \n");
    while (!rest_.empty()) {
      const auto name = takeName();
      skip(" ");
      if (!take("=")) throw std::invalid_argument("no = behind " + name);
      if (!rules.emplace(name, choice()).second) throw std::invalid_argument("two rules for " + name);
      skip(" \n");
    }
    return rules;
  }

 private:
  void skip(std::string_view characters) {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(characters), rest_.size()));
  }

  /// Blanks, and line breaks before a line that begins with one.
  void skipBlanks() {
    for (skip(" "); rest_.starts_with("\n "); skip(" ")) rest_.remove_prefix(1);
  }

  bool take(std::string_view mark) {
    if (!rest_.starts_with(mark)) return false;
    rest_.remove_prefix(mark.size());
    return true;
  }

  template <typename Predicate>
  std::string takeWhile(Predicate isWanted) {
    std::size_t count = 0;
    while (count < rest_.size() && isWanted(rest_[count])) ++count;
    std::string taken(rest_.substr(0, count));
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::string takeName() {
    auto name = takeWhile([](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '-'; });
    if (name.empty()) throw std::invalid_argument("no name at: " + std::string(rest_.substr(0, 20)));
    return name;
  }

  std::size_t takeCount(std::size_t otherwise) {
    const auto digits = takeWhile(isAsciiDigit);
    return digits.empty() ? otherwise : std::stoul(digits);
  }

  Node choice() {
    Node node{.kind = Node::Kind::choice};
    do node.children.push_back(sequence());
    while (take("/"));
    return node;
  }

  Node sequence() {
    Node node;
    for (skipBlanks(); !rest_.empty() && std::string_view("/)]\n").find(rest_[0]) == std::string_view::npos;
         skipBlanks())
      node.children.push_back(repetition());
    if (node.children.empty()) throw std::invalid_argument("nothing at: " + std::string(rest_.substr(0, 20)));
    return node;
  }

  Node repetition() {
    const bool isCounted = isAsciiDigit(rest_[0]) || rest_[0] == '*';
    if (!isCounted) return element();
    const auto minimum = takeCount(0);
    const auto maximum = take("*") ? takeCount(unbounded) : minimum;
    return {.kind = Node::Kind::repetition, .minimum = minimum, .maximum = maximum, .children = {element()}};
  }

  Node element() {
    if (take("(")) return enclosed(")");
    if (take("[")) return {.kind = Node::Kind::repetition, .minimum = 0, .maximum = 1, .children = {enclosed("]")}};
    if (take("\"")) return quoted();
    if (take("%x")) return range();
    return {.kind = Node::Kind::rule, .rule = takeName()};
  }

  Node enclosed(std::string_view end) {
    auto node = choice();
    if (!take(end)) throw std::invalid_argument("not closed at: " + std::string(rest_.substr(0, 20)));
    return node;
  }

  Node quoted() {
    Node node;
    for (const char c : takeWhile([](char each) { return each != '"'; })) {
      Node character{.kind = Node::Kind::choice};
      character.children.push_back(one(c, c));
      if (c >= 'a' && c <= 'z') character.children.push_back(one(static_cast<char>(c - 32), static_cast<char>(c - 32)));
      if (c >= 'A' && c <= 'Z') character.children.push_back(one(static_cast<char>(c + 32), static_cast<char>(c + 32)));
      node.children.push_back(std::move(character));
    }
    take("\"");
    return node;
  }

  Node range() {
    const auto low = takeValue();
    return one(low, take("-") ? takeValue() : low);
  }

  char takeValue() {
    const std::string digits(rest_.substr(0, 2));
    rest_.remove_prefix(digits.size());
    return static_cast<char>(std::stoul(digits, nullptr, 16));
  }

  static Node one(char low, char high) {
    return {
        .kind = Node::Kind::range, .low = static_cast<unsigned char>(low), .high = static_cast<unsigned char>(high)};
  }

  std::string_view rest_;
};

ABNFGrammar::ABNFGrammar(std::string_view text)
    : rules_(
          Reader("ALPHA = %x41-5A / %x61-7A\nDIGIT = %x30-39\nHEXDIG = DIGIT / \"A\" / \"B\" / \"C\" / \"D\" / \"E\" "
                 "/ \"F\"\n" +
                 std::string(text))
              .rules()) {}

bool ABNFGrammar::matches(const std::string& rule, std::string_view text) const {
  if (text.size() > maximumTextLength) throw std::length_error("too long a text");
  return ends(rules_.at(rule), text, Places(1)).test(text.size());
}

ABNFGrammar::Places ABNFGrammar::ends(const Node& node, std::string_view text, const Places& starts) const {
  if (starts.none()) return starts;
  Places places;
  switch (node.kind) {
    case Node::Kind::rule:
      return ends(rules_.at(node.rule), text, starts);
    case Node::Kind::range:
      for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (starts.test(i) && c >= node.low && c <= node.high) places.set(i + 1);
      }
      return places;
    case Node::Kind::sequence:
      places = starts;
      for (const auto& child : node.children) places = ends(child, text, places);
      return places;
    case Node::Kind::choice:
      for (const auto& child : node.children) places |= ends(child, text, starts);
      return places;
    case Node::Kind::repetition:
      return endsOfRepetition(node, text, starts);
  }
  throw std::logic_error("no such kind");
}

ABNFGrammar::Places ABNFGrammar::endsOfRepetition(const Node& node, std::string_view text, Places starts) const {
  Places places;
  for (std::size_t count = 0; starts.any(); ++count) {
    if (count >= node.minimum) {
      starts &= ~places;  // what was reached before leads nowhere new
      places |= starts;
    }
    if (count == node.maximum) break;
    starts = ends(node.children[0], text, starts);
  }
  return places;
}

ABNFGrammar::Derivation ABNFGrammar::derive(const std::string& rule, std::mt19937_64& random) const {
  for (;;) {
    Derivation derivation;
    derive({.kind = Node::Kind::rule, .rule = rule}, random, derivation);
    if (derivation.text.size() <= maximumTextLength) return derivation;
  }
}

void ABNFGrammar::derive(const Node& node, std::mt19937_64& random, Derivation& derivation) const {
  const auto number = [&](std::size_t bound) { return static_cast<std::size_t>(random() % bound); };
  switch (node.kind) {
    case Node::Kind::rule: {
      const auto start = derivation.text.size();
      derive(rules_.at(node.rule), random, derivation);
      derivation.parts[node.rule] = derivation.text.substr(start);
      break;
    }
    case Node::Kind::range:
      derivation.text += static_cast<char>(node.low + number(std::size_t{node.high} - node.low + 1));
      break;
    case Node::Kind::sequence:
      for (const auto& child : node.children) derive(child, random, derivation);
      break;
    case Node::Kind::choice:
      derive(node.children[number(node.children.size())], random, derivation);
      break;
    case Node::Kind::repetition:
      for (std::size_t count = 0; count < node.maximum && (count < node.minimum || number(3) != 0); ++count)
        derive(node.children[0], random, derivation);
      break;
  }
}

}  // namespace brindlewick::testing
