#pragma once

#include <set>

#include "platform/Bytes.h"
#include "platform/linux/codesign/CodeHash.h"
#include "platform/linux/codesign/CodeSigningTrust.h"

namespace brindlewick::codesign {

/// Verifies a stapled notarization ticket (the file Contents/CodeResources) and returns the code that it names: the
/// 20-byte code hashes of its list.
///
/// The ticket is signed with ECDSA over everything before its signature, by a certificate of Apple's ticket authority
/// whose chain ends in one of `trust.ticketRoots` that is also an anchor. The chain is judged at the ticket's own time,
/// since those certificates expire while the ticket stays good.
///
/// Throws Refusal.
[[nodiscard]] std::set<CDHash> verifyNotarizationTicket(ByteView ticket, const CodeSigningTrust& trust);

}  // namespace brindlewick::codesign
