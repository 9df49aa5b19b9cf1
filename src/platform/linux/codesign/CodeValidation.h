#pragma once

#include <string>
#include <vector>

#include "platform/linux/codesign/CodeSigningTrust.h"
#include "platform/linux/codesign/Folder.h"
#include "platform/linux/codesign/SignedSlices.h"

namespace brindlewick::codesign {

/// Code whose signature is valid.
struct ValidatedCode {
  /// Every architecture of the main executable and, in a framework, of its other versions. A requirement must hold for
  /// each.
  std::vector<SliceIdentity> slices;
  bool isApplication = false;            ///< what the Info.plist of a bundle says
  std::vector<CDHash> nestedCodeHashes;  ///< of every architecture of all nested code, when it was checked in depth

  [[nodiscard]] bool meets(const Requirement& requirement) const;
};

/// How nested code is checked: as the platform's two flags do it, without its pages and resources, or like the bundle
/// that holds it.
enum class NestedCodeDepth { shallow, deep };

/// Validates code: a bundle, or a single Mach-O file.
class CodeValidation {
 public:
  CodeValidation(const CodeSigningTrust& trust, NestedCodeDepth depth) noexcept : trust_(trust), depth_(depth) {}

  /// The bundle in this open folder; `name` is the folder's own. Throws Refusal, or PlatformError for what cannot be
  /// read.
  [[nodiscard]] ValidatedCode bundle(Folder folder, std::string_view name) const;
  [[nodiscard]] ValidatedCode file(ByteSource& source) const;

 private:
  struct Extent;
  ValidatedCode bundle(Folder folder, std::string_view name, const Extent& extent) const;
  ValidatedCode file(ByteSource& source, const Extent& extent) const;
  void addLayout(ValidatedCode& code, const struct BundleLayout& layout, const Extent& extent) const;
  void addNestedCode(ValidatedCode& code, const Folder& parent, const std::string& name, const std::string& requirement,
                     const Extent& extent) const;

  const CodeSigningTrust& trust_;
  NestedCodeDepth depth_;
};

}  // namespace brindlewick::codesign
