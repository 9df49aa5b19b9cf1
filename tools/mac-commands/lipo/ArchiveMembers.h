#pragma once

#include "Architecture.h"
#include "InputFile.h"

namespace brindlewick::lipo {

/// Whether a file is a static archive by its magic, "!<arch>" and a line feed.
[[nodiscard]] bool isArchive(const InputFile& file);

/// The architecture that all members of an archive share, tables of symbols and of names aside. An archive without
/// members has none; members of another kind, or of different architectures, are refused. Throws Refusal.
[[nodiscard]] Architecture archiveArchitecture(const InputFile& file);

}  // namespace brindlewick::lipo
