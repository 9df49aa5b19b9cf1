#pragma once

#include <memory>

#include "platform/CodeSigning.h"
#include "platform/linux/codesign/CodeSigningTrust.h"

namespace brindlewick {

/// Validates Apple code signatures from disk, with the verdicts that the Security framework gives for the flags "check
/// all architectures" and "strict validate": every architecture of the main executable, the sealed resources once,
/// nested code without its pages and resources. A validity without a requirement asks for no particular root.
[[nodiscard]] std::unique_ptr<CodeSigning> makeLinuxCodeSigning(CodeSigningTrust trust);

}  // namespace brindlewick
