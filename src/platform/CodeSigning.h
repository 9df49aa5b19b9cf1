#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Path.h"

namespace brindlewick {

/// A compiled code requirement. Only the platform that compiled it can evaluate it.
class CodeRequirement {
 public:
  virtual ~CodeRequirement() = default;
};

/// The code at one place on disk, judged from what lies there. One object judges one state of the disk: what it has
/// read and verified it does not read again.
class StaticCode {
 public:
  virtual ~StaticCode() = default;

  /// Whether the signature is valid for every architecture under the strict rules, whoever signed it.
  [[nodiscard]] virtual bool isValid() = 0;

  /// Whether it is valid in that sense and every architecture meets the requirement.
  [[nodiscard]] virtual bool satisfies(const CodeRequirement& requirement) = 0;

  /// The signing team; absent when the signature names none or cannot be read.
  [[nodiscard]] virtual std::optional<std::string> teamIdentifier() = 0;
};

/// Apple code signatures: the Security framework on macOS, a validation of our own on Linux. The same bundle gets the
/// same verdict by the same call on both.
class CodeSigning {
 public:
  virtual ~CodeSigning() = default;

  /// The code at a bundle directory or a single Mach-O file; null when there is none to be judged.
  [[nodiscard]] virtual std::unique_ptr<StaticCode> staticCode(const Path& path) = 0;

  /// Compiles a requirement (Apple, "Code Signing Requirement Language"); null when the text does not compile.
  [[nodiscard]] virtual std::unique_ptr<CodeRequirement> requirement(std::string_view text) = 0;
};

}  // namespace brindlewick
