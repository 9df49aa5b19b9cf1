#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plist/PropertyListTree.h"

namespace brindlewick::codesign {

/// What a rule of a resource envelope says about the paths that it matches.
struct RuleEffect {
  bool isOmitted = false;
  bool isOptional = false;
  bool isNested = false;
  bool operator==(const RuleEffect&) const = default;
};

/// The rules of a resource envelope, version 2 ("rules2"): patterns, which are POSIX extended regular expressions, with
/// effects and weights.
class ResourceRules {
 public:
  /// Compiles the rules and applies the strict rules to them: everything is sealed but a short list of files that the
  /// system writes. In a flat bundle one name of that list differs. Throws Refusal.
  [[nodiscard]] static ResourceRules compile(const PropertyListTree& rules, bool isFlat);

  /// The effect of the rule of greatest weight among those that match; absent if none does. Throws Refusal when two of
  /// one weight differ, since the platform then takes one by chance.
  [[nodiscard]] std::optional<RuleEffect> effectOn(const std::string& path) const;

 private:
  struct Rule;
  std::vector<std::shared_ptr<const Rule>> rules_;  ///< the heaviest first
};

}  // namespace brindlewick::codesign
