#pragma once

#include "frontend/OptionTable.h"
#include "platform/Platform.h"

namespace brindlewick {

/// One run of the program: arguments in, one document on standard output (none after a successful "apply-install"),
/// exit status out.
namespace BrindlewickUpdaterMain {

/// Runs the command and returns the exit status: 0, or 1 after a failure, whose one sentence has then been printed.
[[nodiscard]] int run(const Platform& platform, CommandList list) noexcept;

}  // namespace BrindlewickUpdaterMain

}  // namespace brindlewick
