#pragma once

#include <optional>

#include "platform/linux/codesign/BER.h"

namespace brindlewick::codesign {

/// Parts of a SignedData with one signer (RFC 5652, section 5), in the bytes of its encoding.
struct SignedDataParts {
  ber::Element attributes;  ///< the signed ones
  std::optional<ber::Element> unsignedAttributes;
};

/// Finds the parts of a message (a ContentInfo) with one signer, signed attributes and at most 32 certificates, and
/// requires of each element that it has the tag of its place. No signature covers what stands around the signed
/// attributes and the certificates, and OpenSSL's decoder takes a primitive tag for a constructed one there, and any
/// value for the parameters of an algorithm; the platform does not. Throws Refusal.
[[nodiscard]] SignedDataParts readSignedDataParts(const ber::Element& message);

}  // namespace brindlewick::codesign
