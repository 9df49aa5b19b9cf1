#pragma once

#include "platform/ProcessLauncher.h"

namespace brindlewick::ArchiveListing {

/// Lists an archive twice with /usr/bin/zipinfo, by names and by attributes, and holds both listings against their
/// policies, before anything of the archive is expanded.
///
/// Throws Failure<UpdateInstallError> unsafeArchive for a listing that is not UTF-8 or that a policy refuses, and what
/// the tool runner throws: invalidApplicationBundle for an archive that cannot be listed or whose listing is longer
/// than 16 MiB.
void check(ProcessLauncher& processes, const Path& archive);

}  // namespace brindlewick::ArchiveListing
