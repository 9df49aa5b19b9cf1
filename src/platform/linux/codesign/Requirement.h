#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "platform/linux/codesign/Certificate.h"
#include "platform/linux/codesign/CodeHash.h"

namespace brindlewick::codesign {

/// The code of one architecture, as a requirement asks about it.
struct RequirementSubject {
  std::string_view identifier;         ///< of the best CodeDirectory
  CDHash codeHash{};                   ///< of the best CodeDirectory
  std::span<const Certificate> chain;  ///< leaf first, root last; empty for ad-hoc code
  bool isAnchored = false;             ///< the root is one of Apple's
};

/// A compiled requirement (Apple, "Code Signing Requirement Language"), as far as Developer ID code uses it: Boolean
/// operators, identifier, cdhash, anchor, certificate slots.
class Requirement {
 public:
  /// Absent when the text does not compile. A term that is not supported does not compile: it must never count as false
  /// below a "!".
  [[nodiscard]] static std::optional<Requirement> compile(std::string_view text);

  [[nodiscard]] bool isMetBy(const RequirementSubject& subject) const;

  struct Expression;

 private:
  explicit Requirement(std::shared_ptr<const Expression> expression) : expression_(std::move(expression)) {}

  std::shared_ptr<const Expression> expression_;
};

}  // namespace brindlewick::codesign
