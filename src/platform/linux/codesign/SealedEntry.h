#pragma once

#include <optional>
#include <span>
#include <string>
#include <variant>

#include "platform/linux/codesign/CodeHash.h"
#include "plist/PropertyListTree.h"

namespace brindlewick::codesign {

/// One entry of "files2": what a path has to be.
class SealedEntry {
 public:
  /// Throws Refusal when it is of no known kind or of two.
  explicit SealedEntry(const PropertyListNode& node);

  /// The link's target; null unless the entry seals a link.
  [[nodiscard]] const std::string* linkTarget() const noexcept { return linkTarget_; }
  /// The requirement's text; null unless the entry seals code.
  [[nodiscard]] const std::string* requirement() const noexcept { return requirement_; }
  [[nodiscard]] bool isFile() const noexcept { return linkTarget_ == nullptr && requirement_ == nullptr; }

  /// The file's hash of this type. Falls back to SHA-1, which then agrees only with SHA-1.
  [[nodiscard]] ByteView hash(HashType type) const;
  /// Whether the path may be missing.
  [[nodiscard]] bool isOptional() const noexcept { return isOptional_; }

 private:
  const PropertyListTree* dictionary_ = nullptr;
  const Bytes* oldHash_ = nullptr;
  const std::string* linkTarget_ = nullptr;
  const std::string* requirement_ = nullptr;
  bool isOptional_ = false;
};

}  // namespace brindlewick::codesign
