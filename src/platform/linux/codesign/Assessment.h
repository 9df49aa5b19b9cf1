#pragma once

#include <string>

#include "platform/Path.h"
#include "platform/linux/codesign/CodeSigningTrust.h"

namespace brindlewick {

/// The answer of an assessment, in the words of the macOS command.
struct Assessment {
  bool accepted = false;
  /// "Notarized Developer ID", "Unnotarized Developer ID", "no usable signature", ...
  std::string source;
};

/// Whether macOS would let a user start this application, as far as that can be decided offline: a signature that is
/// valid in depth, nested code included, of which each item meets the requirement it was sealed with; a Developer ID of
/// the application; links that stay inside their bundle or lead to the system; and a stapled notarization ticket that
/// names the code of every architecture of the main executable and of all nested code.
/// Revocation is not asked for, and a ticket that is only online does not count. Anything unreadable is a rejection.
[[nodiscard]] Assessment assess(const Path& application, const CodeSigningTrust& trust);

}  // namespace brindlewick
