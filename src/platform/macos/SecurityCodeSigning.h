#pragma once

#include "platform/CodeSigning.h"

namespace brindlewick {

/// Apple code signatures, judged by the Security framework.
class SecurityCodeSigning final : public CodeSigning {
 public:
  [[nodiscard]] std::unique_ptr<StaticCode> staticCode(const Path& path) override;
  [[nodiscard]] std::unique_ptr<CodeRequirement> requirement(std::string_view text) override;
};

}  // namespace brindlewick
