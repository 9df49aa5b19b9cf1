#pragma once

#include <cstdint>

namespace brindlewick::ArtifactDownloadSizePolicy {

/// 512 MiB.
inline constexpr std::uint64_t maximumByteCount = 536'870'912;

[[nodiscard]] constexpr bool allows(std::uint64_t byteCount) noexcept { return byteCount <= maximumByteCount; }

}  // namespace brindlewick::ArtifactDownloadSizePolicy
