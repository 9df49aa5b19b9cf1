#pragma once

#include <cstddef>
#include <optional>

#include "platform/Bytes.h"
#include "platform/FileSystem.h"

namespace brindlewick {

/// Everything that an open item holds; absent when it is more than `maximumByteCount`, of which no more than one byte
/// beyond is ever read, whatever size the attributes named. Throws PlatformError.
[[nodiscard]] std::optional<Bytes> readWhole(OpenItem& item, std::size_t maximumByteCount);

}  // namespace brindlewick
