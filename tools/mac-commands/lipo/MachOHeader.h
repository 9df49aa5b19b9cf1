#pragma once

#include <cstdint>
#include <optional>

#include "Architecture.h"
#include "InputFile.h"

namespace brindlewick::lipo {

/// The architecture of the Mach-O file in a range of a file; absent when its magic is that of another kind of file.
/// Throws Refusal when the header or its load commands do not fit.
[[nodiscard]] std::optional<Architecture> machOHeader(const InputFile& file, std::uint64_t offset,
                                                      std::uint64_t byteCount);

}  // namespace brindlewick::lipo
