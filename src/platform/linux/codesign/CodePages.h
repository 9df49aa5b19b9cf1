#pragma once

#include <span>

#include "platform/linux/codesign/ByteSource.h"
#include "platform/linux/codesign/CodeDirectory.h"
#include "platform/linux/codesign/MachO.h"

namespace brindlewick::codesign {

/// Checks the code of a slice, from its start to the directories' limit, page by page against the hashes of every
/// directory. The file is read once, in pieces; the load commands count as they were read before, so that what was
/// judged is what is hashed. The limit lies inside the slice. Throws Refusal.
void verifyPages(ByteSource& file, const MachOSlice& slice, std::span<const CodeDirectory> directories);

}  // namespace brindlewick::codesign
