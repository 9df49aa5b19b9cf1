#pragma once

#include <string_view>

namespace brindlewick::UpdateInstallHandoffPolicy {

/// What a staged update still has to pass: signature of the bundle, team, Gatekeeper and rollback come with the
/// installation, not with staging.
inline constexpr std::string_view stagedMessage =
    "Verified and staged; choose Install and Relaunch to run final bundle, Developer ID, Gatekeeper, and rollback "
    "checks.";

}  // namespace brindlewick::UpdateInstallHandoffPolicy
