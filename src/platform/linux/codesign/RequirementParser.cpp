#include "platform/linux/codesign/RequirementParser.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/RequirementLexer.h"

namespace brindlewick::codesign {
namespace {

using Expression = Requirement::Expression;
using Kind = RequirementTokenKind;
using Operator = RequirementOperator;
using Match = RequirementMatch;

constexpr int maximumDepth = 64;

// Those of whole sets of requirements included: a value of this name has to be quoted.
constexpr std::array<std::string_view, 29> keywords = {
    "absent",     "always",      "anchor",    "and",     "apple",   "cdhash",    "cert", "certificate",
    "designated", "entitlement", "exists",    "false",   "generic", "guest",     "host", "identifier",
    "info",       "leaf",        "legacy",    "library", "never",   "notarized", "or",   "platform",
    "plugin",     "root",        "timestamp", "true",    "trusted"};

bool isKeyword(std::string_view word) { return std::find(keywords.begin(), keywords.end(), word) != keywords.end(); }

std::uint8_t hexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<std::uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint8_t>(c - 'a' + 10);
  require(c >= 'A' && c <= 'F', "a hash has hexadecimal digits");
  return static_cast<std::uint8_t>(c - 'A' + 10);
}

constexpr std::size_t maximumOIDLength = 100;

/// Numbers between dots (X.660): at least two, none with a leading zero, and the first two within their bounds. What
/// merely looks like an OID would be one that no certificate has, and "absent" would be true of it; so would one that
/// is too long to be looked for.
bool isOID(std::string_view text) {
  if (text.size() > maximumOIDLength) return false;
  std::vector<std::string_view> arcs;
  for (std::size_t at = 0, dot = 0; dot != std::string_view::npos; at = dot + 1) {
    dot = text.find('.', at);
    arcs.push_back(text.substr(at, dot == std::string_view::npos ? dot : dot - at));
  }
  const auto isArc = [](std::string_view arc) {
    return !arc.empty() && arc.find_first_not_of("0123456789") == std::string_view::npos &&
           (arc == "0" || arc.front() != '0');
  };
  return arcs.size() >= 2 && std::all_of(arcs.begin(), arcs.end(), isArc) && arcs[0].size() == 1 && arcs[0] <= "2" &&
         (arcs[0] == "2" || arcs[1].size() == 1 || (arcs[1].size() == 2 && arcs[1] < "40"));
}

class Parser {
 public:
  explicit Parser(std::string_view text) : tokens_(requirementTokens(text)) {}

  Expression requirement() {
    Expression whole = disjunction();
    while (skipSymbol(";")) continue;
    codesign::require(token().kind == Kind::end, "nothing follows a requirement");
    return whole;
  }

 private:
  [[nodiscard]] const RequirementToken& token() const { return tokens_[at_]; }

  RequirementToken take() {
    RequirementToken taken = token();
    if (taken.kind != Kind::end) ++at_;
    return taken;
  }

  bool skip(Kind kind, std::string_view text) {
    const bool matches = token().kind == kind && token().text == text;
    if (matches) ++at_;
    return matches;
  }
  bool skipSymbol(std::string_view symbol) { return skip(Kind::symbol, symbol); }
  bool skipWord(std::string_view word) { return skip(Kind::word, word); }
  bool skipEquals() { return skipSymbol("==") || skipSymbol("="); }
  void expectSymbol(std::string_view symbol) { codesign::require(skipSymbol(symbol), "brackets come in pairs"); }

  Expression disjunction() {
    Expression any{.kind = Operator::disjunction};
    do any.operands.push_back(conjunction());
    while (skipWord("or"));
    return any;
  }

  Expression conjunction() {
    Expression all{.kind = Operator::conjunction};
    do all.operands.push_back(primary());
    while (skipWord("and"));
    return all;
  }

  Expression primary() {
    if (skipSymbol("(")) {
      Expression inner = deeper(&Parser::disjunction);
      expectSymbol(")");
      return inner;
    }
    if (skipSymbol("!")) {
      Expression negation{.kind = Operator::negation};
      negation.operands.push_back(deeper(&Parser::primary));
      return negation;
    }
    return term();
  }

  Expression deeper(Expression (Parser::*part)()) {
    codesign::require(++depth_ <= maximumDepth, "a requirement is nested at most 64 times");
    Expression inner = (this->*part)();
    --depth_;
    return inner;
  }

  Expression term() {
    if (skipWord("always") || skipWord("true")) return {.kind = Operator::always};
    if (skipWord("never") || skipWord("false")) return {.kind = Operator::never};
    if (skipWord("identifier")) {
      skipEquals();
      return {.kind = Operator::identifier, .text = value()};
    }
    if (skipWord("cdhash")) {
      skipEquals();
      return {.kind = Operator::codeHash, .hash = hash()};
    }
    if (skipWord("anchor")) return anchor();
    codesign::require(skipWord("certificate") || skipWord("cert"), "a term has a meaning here");
    return certificate(slot());
  }

  Expression anchor() {
    if (skipWord("apple")) {
      codesign::require(skipWord("generic"), "Apple's own code is not asked for");
      return {.kind = Operator::appleAnchor};
    }
    if (skipWord("generic")) {
      codesign::require(skipWord("apple"), "the generic anchor is Apple's");
      return {.kind = Operator::appleAnchor};
    }
    return certificate(-1);
  }

  /// Leading zeros and a negative zero are refused: who takes the one for octal or the other for the root is not known.
  int slot() {
    if (skipWord("leaf")) return 0;
    if (skipWord("root")) return -1;
    const bool fromRoot = skipSymbol("-");
    const RequirementToken number = take();
    codesign::require(number.kind == Kind::integer && number.text.size() <= 4, "a slot is a small number");
    codesign::require(number.text.front() != '0' || (number.text == "0" && !fromRoot), "a slot is a plain number");
    int magnitude = 0;
    std::from_chars(number.text.data(), number.text.data() + number.text.size(), magnitude);
    return fromRoot ? -magnitude : magnitude;
  }

  Expression certificate(int slot) {
    if (!skipSymbol("[")) {
      skipEquals();
      return {.kind = Operator::certificateHash, .slot = slot, .hash = hash()};
    }
    Expression part = certificatePart(value());
    part.slot = slot;
    expectSymbol("]");
    match(part);
    // Only its presence can be asked for; what its value would be compared with is not defined.
    codesign::require(
        part.kind != Operator::certificateField || part.match == Match::exists || part.match == Match::absent,
        "an extension is there or not");
    return part;
  }

  static Expression certificatePart(const std::string& name) {
    constexpr std::string_view field = "field.";
    constexpr std::string_view subject = "subject.";
    if (name.starts_with(field)) {
      codesign::require(isOID(std::string_view(name).substr(field.size())), "a field is named by an OID");
      return {.kind = Operator::certificateField, .key = name.substr(field.size())};
    }
    codesign::require(name.starts_with(subject) && name.size() > subject.size(), "a part of a certificate is known");
    return {.kind = Operator::certificateSubject, .key = name.substr(subject.size())};
  }

  void match(Expression& part) {
    if (skipWord("absent")) {
      part.match = Match::absent;
    } else if (skipEquals()) {
      const bool isOpenBefore = skipSymbol("*");
      part.text = value();
      const bool isOpenBehind = skipSymbol("*");
      part.match = isOpenBefore ? (isOpenBehind ? Match::contains : Match::endsWith)
                                : (isOpenBehind ? Match::beginsWith : Match::equal);
    } else {
      skipWord("exists");
    }
  }

  std::string value() {
    const RequirementToken token = take();
    codesign::require(token.kind == Kind::quoted || (token.kind == Kind::word && !isKeyword(token.text)),
                      "a value is a quoted string, or a word that is no keyword");
    // Who asks for nothing has lost the value; and whether every text contains nothing, or none does, is open.
    codesign::require(!token.text.empty(), "a value is not empty");
    return token.text;
  }

  CDHash hash() {
    const RequirementToken token = take();
    CDHash bytes{};
    codesign::require(token.kind == Kind::hash && token.text.size() == 2 * bytes.size(), "a hash has 40 digits");
    for (std::size_t i = 0; i < bytes.size(); ++i)
      bytes[i] = static_cast<std::uint8_t>(hexDigit(token.text[2 * i]) << 4 | hexDigit(token.text[2 * i + 1]));
    return bytes;
  }

  std::vector<RequirementToken> tokens_;
  std::size_t at_ = 0;
  int depth_ = 0;
};

}  // namespace

Requirement::Expression parsedRequirement(std::string_view text) { return Parser(text).requirement(); }

}  // namespace brindlewick::codesign
