#pragma once

#include <functional>
#include <string>

#include "ArchiveFile.h"

namespace brindlewick::ditto {

/// Expands an archive into a folder: all of it, or, when anything is wrong, nothing. Folders that the archive only
/// implies get mode 0755. `isInterrupted` is asked between blocks and ends the run like an error.
///
/// Throws Refusal or std::system_error; then nothing that this run created is left, and what was there before is
/// untouched.
void expand(const ArchiveFile& archive, const std::string& folder, const std::function<bool()>& isInterrupted);

}  // namespace brindlewick::ditto
