#pragma once

#include <span>
#include <vector>

#include "platform/Bytes.h"
#include "platform/linux/codesign/Certificate.h"
#include "platform/linux/codesign/CodeHash.h"
#include "platform/linux/codesign/CodeSigningTrust.h"

namespace brindlewick::codesign {

/// One CodeDirectory, as the message covers it.
struct CoveredDirectory {
  HashType hashType;
  ByteView blob;  ///< the whole blob, its header included
};

/// Who signed.
struct Signer {
  std::vector<Certificate> chain;  ///< leaf first, self-signed root last; never empty
  bool isAnchored = false;         ///< the root is one of the anchors
};

struct SignedMessageRules {
  /// The flag 0x400 of the CodeDirectory: a signature without a timestamp ends with its certificates.
  bool expirationIsEnforced = false;
};

/// Verifies the CMS signature (RFC 5652) of code, over the bytes as they stand in the file, and finds its signer.
///
/// `message` is what slot 0x10000 holds behind its header, at most 4 MiB. `directories` are all CodeDirectories of the
/// signature, the base first, the alternates in the order of their slots. Checked in this order: shape; message digest
/// and the two hash-agility attributes; the signature over the attributes; the timestamp token, if there are unsigned
/// attributes; the chain, at the token's time or else at the one that the signer claims.
///
/// Throws Refusal.
[[nodiscard]] Signer verifySignedMessage(ByteView message, std::span<const CoveredDirectory> directories,
                                         const SignedMessageRules& rules, const CodeSigningTrust& trust);

}  // namespace brindlewick::codesign
