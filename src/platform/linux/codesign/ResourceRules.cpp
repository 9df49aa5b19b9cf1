#include "platform/linux/codesign/ResourceRules.h"

#include <regex.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/AsciiText.h"
#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

// Real envelopes have a dozen short rules.
constexpr std::size_t maximumRuleCount = 40;
constexpr std::size_t maximumPatternByteCount = 128;

constexpr std::string_view everythingPattern = "^.*";

/// The only patterns that may leave something unsealed.
constexpr std::array<std::string_view, 3> omissiblePatterns = {"^(.*/)?\\.DS_Store$", "^Info\\.plist$", "^PkgInfo$"};
constexpr std::string_view languageVersionPattern = "^Resources/.*\\.lproj/locversion.plist$";
constexpr std::string_view flatLanguageVersionPattern = "^.*\\.lproj/locversion.plist$";

struct FreePattern {
  void operator()(regex_t* compiled) const noexcept {
    ::regfree(compiled);
    delete compiled;
  }
};
using CompiledPattern = std::unique_ptr<regex_t, FreePattern>;

/// A regular expression whose matching takes time and memory in proportion to its text.
class Pattern {
 public:
  explicit Pattern(const std::string& text) {
    require(text.size() <= maximumPatternByteCount && text.find('{') == std::string::npos && !hasSpecialEscape(text) &&
                repeatsOnlyCharacters(text) && hasFewChoices(text),
            "a pattern matches in linear time");
    auto memory = std::make_unique<regex_t>();
    require(::regcomp(memory.get(), text.c_str(), REG_EXTENDED | REG_NOSUB) == 0, "a pattern compiles");
    compiled_.reset(memory.release());
  }

  [[nodiscard]] bool matches(const std::string& path) const {
    const int answer = ::regexec(compiled_.get(), path.c_str(), 0, nullptr, 0);
    require(answer == 0 || answer == REG_NOMATCH, "a pattern can be matched");
    return answer == 0;
  }

 private:
  /// A backslash in front of a letter or a digit: a reference back, or an extension that each library reads in its way.
  static bool hasSpecialEscape(const std::string& text) {
    constexpr std::string_view extensions = "<>`'";
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
      if (text[i] != '\\') continue;
      const char escaped = text[++i];
      if (isAsciiLetter(escaped) || isAsciiDigit(escaped) || extensions.find(escaped) != std::string_view::npos)
        return true;
    }
    return false;
  }

  /// The library takes time and memory without bound for repetitions inside repetitions, and a few plus signs suffice:
  /// it copies what they repeat. So only a character or a set of characters may be repeated, and a group be left out,
  /// as in the rules that are written for every application. Brackets are not told apart, which refuses too much only.
  static bool repeatsOnlyCharacters(const std::string& text) {
    constexpr std::string_view repetitions = "*+?", beginnings = "(|^$*+?";
    char before = '(';
    for (const char character : text) {
      if (repetitions.find(character) != std::string_view::npos) {
        const bool followsGroup = before == ')' && character != '?';
        if (followsGroup || beginnings.find(before) != std::string_view::npos) return false;
      }
      before = character;
    }
    return true;
  }

  /// The library makes a state of some kilobytes for each set of places that a match can have come to, and keeps it.
  /// A repetition in front of k sets of characters, or of k groups of alternatives, has 2 to the power of k of them, so
  /// that a path of some hundred bytes makes as many as it has bytes. The rules that are written for every application
  /// have two repetitions, two sets, two groups, and no more than one alternative where something is repeated.
  static bool hasFewChoices(const std::string& text) {
    int repetitions = 0, sets = 0, groups = 0, alternatives = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char character = text[i];
      if (character == '\\') ++i;
      if (character == '*' || character == '+' || character == '?') ++repetitions;
      if (character == '[' || character == '.') ++sets;
      if (character == '(') ++groups;
      if (character == '|') ++alternatives;
    }
    return repetitions <= 4 && sets <= 4 && groups <= 2 && (repetitions == 0 || alternatives <= 2);
  }

  CompiledPattern compiled_;
};

/// A weight, which property lists often hold as a real; the platform cuts its fraction off.
std::uint32_t weightOf(const PropertyListTree& rule) {
  const PropertyListNode* node = find(rule, "weight");
  if (node == nullptr) return 1;
  const auto* integer = node->as<std::int64_t>();
  const auto* real = node->as<double>();
  require(integer != nullptr || real != nullptr, "a weight is a number");
  const double weight = integer != nullptr ? static_cast<double>(*integer) : *real;
  require(weight >= 0 && weight <= 1'000'000'000, "a weight is not negative and not huge");
  return static_cast<std::uint32_t>(weight);
}

bool flagOf(const PropertyListTree& rule, std::string_view key) {
  const PropertyListNode* node = find(rule, key);
  if (node == nullptr) return false;
  const auto* flag = node->as<bool>();
  require(flag != nullptr, "an effect of a rule is a Boolean");
  return *flag;
}

bool mayOmit(std::string_view pattern, bool isFlat) {
  return std::ranges::find(omissiblePatterns, pattern) != omissiblePatterns.end() ||
         pattern == (isFlat ? flatLanguageVersionPattern : languageVersionPattern);
}

}  // namespace

struct ResourceRules::Rule {
  Pattern pattern;
  RuleEffect effect;
  std::uint32_t weight;

  Rule(const std::string& text, const PropertyListNode& node) : pattern(text), effect(), weight(1) {
    if (const auto* plain = node.as<bool>()) {
      effect.isOmitted = !*plain;
      return;
    }
    const auto* dictionary = node.as<PropertyListTree>();
    require(dictionary != nullptr, "a rule is a Boolean or a dictionary");
    weight = weightOf(*dictionary);
    effect = {flagOf(*dictionary, "omit"), flagOf(*dictionary, "optional"), flagOf(*dictionary, "nested")};
    // A folder of code that is left out would be passed over with everything in it.
    require(!(effect.isOmitted && effect.isNested), "nested code is not left out");
  }
};

ResourceRules ResourceRules::compile(const PropertyListTree& rules, bool isFlat) {
  require(rules.size() <= maximumRuleCount, "there are not too many rules");
  const PropertyListNode* everything = find(rules, everythingPattern);
  const bool* isSealed = everything == nullptr ? nullptr : everything->as<bool>();
  require(isSealed != nullptr && *isSealed, "one rule seals everything");
  ResourceRules compiled;
  for (const auto& [pattern, node] : rules) {
    auto rule = std::make_shared<Rule>(pattern, node);
    require(!rule->effect.isOmitted || mayOmit(pattern, isFlat), "only the system's files are left out");
    compiled.rules_.push_back(std::move(rule));
  }
  std::ranges::stable_sort(compiled.rules_, std::ranges::greater(), [](const auto& rule) { return rule->weight; });
  return compiled;
}

std::optional<RuleEffect> ResourceRules::effectOn(const std::string& path) const {
  const Rule* best = nullptr;
  for (const auto& rule : rules_) {
    if (best != nullptr && rule->weight < best->weight) break;
    if (!rule->pattern.matches(path)) continue;
    require(best == nullptr || best->effect == rule->effect, "rules of one weight agree");
    best = rule.get();
  }
  if (best == nullptr) return std::nullopt;
  return best->effect;
}

}  // namespace brindlewick::codesign
