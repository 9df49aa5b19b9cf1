#pragma once

#include <span>

#include "platform/linux/codesign/SignedAttributes.h"
#include "platform/linux/codesign/SignedMessage.h"

namespace brindlewick::codesign {

/// Requires the signed attributes to name exactly these CodeDirectories. The message digest covers the first one only;
/// the others, from which an old or a new system may choose, are covered by the two attributes of hash agility: a
/// property list of all code hashes (1.2.840.113635.100.9.1), and all full digests with their algorithms
/// (1.2.840.113635.100.9.2). Each must be true where it stands, and with several directories one of them must stand.
///
/// Throws Refusal.
void requireHashAgility(const SignedAttributes& attributes, std::span<const CoveredDirectory> directories);

}  // namespace brindlewick::codesign
