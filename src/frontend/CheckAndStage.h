#pragma once

#include "frontend/UpdateHelperResponse.h"
#include "frontend/UpdaterCommand.h"
#include "platform/Platform.h"

namespace brindlewick {

/// Fetches and verifies the manifest, and if it offers something newer that runs here, downloads and stages it. Throws
/// what retrieval, verifier and stager throw; no download remains.
[[nodiscard]] UpdateHelperResponse checkAndStage(const Platform& platform, const UpdaterCommand& command);

}  // namespace brindlewick
