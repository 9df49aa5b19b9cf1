#pragma once

#include <vector>

#include "Architecture.h"
#include "InputFile.h"

namespace brindlewick::lipo {

/// The architectures of a file in its own order: those of the table of a universal file, with 32- or 64-bit entries;
/// the one of a Mach-O file of either width and byte order; or the one of all members of a static archive.
///
/// What a table says is checked against the file, since whoever reads the answer relies on the slices being there: they
/// lie inside the file, behind the table, apart from each other, and none names an architecture twice.
/// Throws Refusal, or std::system_error.
[[nodiscard]] std::vector<Architecture> architecturesOf(const InputFile& file);

}  // namespace brindlewick::lipo
