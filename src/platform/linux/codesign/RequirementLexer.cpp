#include "platform/linux/codesign/RequirementLexer.h"

#include <algorithm>

#include "platform/UTF8.h"
#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

constexpr std::size_t maximumTextByteCount = 64 * 1024;

// Not those of <cctype>, which ask a locale.
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isWordCharacter(char c) { return isLetter(c) || isDigit(c); }
bool isWhiteSpace(char c) { return c == ' ' || c == '\t' || c == '\n'; }
bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  RequirementToken next() {
    skipBlanksAndComments();
    if (rest().empty()) return {};
    if (rest().starts_with("H\"")) return hash();
    if (rest().starts_with('"')) return quoted();
    if (isLetter(rest().front())) return word();
    if (isDigit(rest().front())) return integer();
    return symbol();
  }

 private:
  [[nodiscard]] std::string_view rest() const { return text_.substr(at_); }

  std::string_view take(std::size_t count) {
    const std::string_view taken = rest().substr(0, count);
    at_ += taken.size();
    return taken;
  }

  template <typename Predicate>
  std::string_view takeWhile(Predicate predicate) {
    const std::string_view all = rest();
    return take(static_cast<std::size_t>(std::find_if_not(all.begin(), all.end(), predicate) - all.begin()));
  }

  void skipBlanksAndComments() {
    for (;;) {
      takeWhile(isWhiteSpace);
      if (rest().starts_with("/*")) {
        const std::size_t end = text_.find("*/", at_ + 2);  // "/*/" is not closed
        require(end != std::string_view::npos, "a comment is closed");
        at_ = end + 2;
      } else if (rest().starts_with("//") || rest().starts_with('#')) {
        takeWhile([](char c) { return c != '\n'; });
      } else {
        return;
      }
    }
  }

  RequirementToken hash() {
    take(2);
    const std::string_view digits = takeWhile([](char c) { return c != '"'; });
    require(take(1) == "\"", "a hash is closed");
    return {RequirementTokenKind::hash, std::string(digits)};
  }

  RequirementToken quoted() {
    RequirementToken token{RequirementTokenKind::quoted, {}};
    take(1);
    for (;;) {
      token.text += takeWhile([](char c) { return c != '"' && c != '\\' && c != '\n' && c != '\t'; });
      const std::string_view stop = take(1);
      if (stop == "\"") return token;
      require(stop == "\\" && take(1) == "\"", "a string is closed, on its line, and escapes nothing but quotes");
      token.text += '"';
    }
  }

  RequirementToken word() {
    RequirementToken token{RequirementTokenKind::word, std::string(takeWhile(isWordCharacter))};
    while (rest().starts_with('.')) {
      token.text += take(1);
      const std::string_view part = takeWhile(isWordCharacter);
      require(!part.empty(), "a dot in a word has something behind it");
      token.text += part;
    }
    return token;
  }

  RequirementToken integer() {
    RequirementToken token{RequirementTokenKind::integer, std::string(takeWhile(isDigit))};
    // "1.5", "9TEAM" and "0x1F" are neither a number of ours nor a word.
    require(rest().empty() || !(isLetter(rest().front()) || rest().front() == '.'), "a number ends behind its digits");
    return token;
  }

  RequirementToken symbol() {
    constexpr std::string_view single = "()[]!*-;=";
    if (rest().starts_with("==")) return {RequirementTokenKind::symbol, std::string(take(2))};
    require(single.find(rest().front()) != std::string_view::npos, "a character has a meaning in a requirement");
    return {RequirementTokenKind::symbol, std::string(take(1))};
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<RequirementToken> requirementTokens(std::string_view text) {
  require(text.size() <= maximumTextByteCount, "a requirement has at most 64 KiB");
  require(isUTF8(text), "a requirement is UTF-8");
  // Not even in strings and comments: what another reader takes for the end of the text or of a line must not hide
  // there.
  require(std::none_of(text.begin(), text.end(), [](char c) { return isControl(c) && c != '\t' && c != '\n'; }),
          "a requirement has no control characters");
  std::vector<RequirementToken> tokens;
  Lexer lexer(text);
  do tokens.push_back(lexer.next());
  while (tokens.back().kind != RequirementTokenKind::end);
  return tokens;
}

}  // namespace brindlewick::codesign
