#pragma once

#include "platform/FileSystem.h"

namespace brindlewick::ExpandedTree {

/// Looks at what came out of an archive: `preparationDirectory` must hold `candidate` and nothing else, and nothing in
/// it may be a symbolic link. The listings cannot tell this: what an extractor makes of an archive is its own choice.
///
/// Throws Failure<UpdateInstallError> invalidApplicationBundle, unsafeArchive for a link, and PlatformError.
void check(FileSystem& files, const Path& preparationDirectory, const Path& candidate);

}  // namespace brindlewick::ExpandedTree
