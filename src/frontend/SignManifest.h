#pragma once

#include "frontend/ManifestSigningCommand.h"
#include "frontend/ManifestSigningResponse.h"
#include "platform/Platform.h"

namespace brindlewick {

/// Signs a manifest for a release archive and writes it. Throws what the signer throws.
[[nodiscard]] ManifestSigningResponse signManifest(const Platform& platform, const ManifestSigningCommand& command);

}  // namespace brindlewick
