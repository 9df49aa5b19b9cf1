#pragma once

#include <optional>
#include <vector>

#include "platform/Bytes.h"
#include "platform/linux/codesign/Certificate.h"
#include "platform/linux/codesign/OpenSSLHolders.h"
#include "platform/linux/codesign/SignedAttributes.h"
#include "platform/linux/codesign/SignedDataParts.h"

namespace brindlewick::codesign {

/// A SignedData (RFC 5652, section 5) with exactly one signer, who signed attributes, and at most 32 certificates.
/// Refers to the bytes that it was read from.
///
/// OpenSSL decodes it and never verifies it: its CMS functions encode the attributes again before they verify, which
/// reorders the values in genuine code signatures that are not sorted, and refuses those.
///
/// Every function throws Refusal.
class SignedData {
 public:
  /// Behind the message only zeros may follow.
  explicit SignedData(ByteView message);

  /// Inside the message; absent when it is detached.
  [[nodiscard]] std::optional<ByteView> content() const;
  [[nodiscard]] const ASN1_OBJECT* contentType() const;
  [[nodiscard]] const std::vector<Certificate>& certificates() const noexcept { return certificates_; }
  /// The certificate that the signer is identified by.
  [[nodiscard]] const Certificate& signer() const;
  /// OpenSSL's number (NID) for the digest algorithm of the signer.
  [[nodiscard]] int digestAlgorithm() const;
  [[nodiscard]] const SignedAttributes& attributes() const noexcept { return attributes_; }
  [[nodiscard]] ByteView signature() const;
  /// The encoded timestamp token among the unsigned attributes (RFC 3161, appendix A); absent when there is no list of
  /// them at all. Where there is one, exactly one of it has to be a token.
  [[nodiscard]] std::optional<ByteView> timestampToken() const;

  /// Requires the attributes to be about content of this type (an OID as encoded, without its header) and about these
  /// bytes.
  void requireContent(ByteView type, ByteView bytes) const;
  /// Requires the signature, RSA (PKCS #1 v1.5) or ECDSA, to be one of the signer's key over the attributes as they
  /// stand.
  void requireSignature() const;

 private:
  ContentInfoHolder message_;
  CMS_SignerInfo* signerInfo_ = nullptr;
  SignedDataParts parts_;
  SignedAttributes attributes_;
  std::vector<Certificate> certificates_;
};

/// Whether this is the digest of the bytes under the algorithm of that number.
[[nodiscard]] bool isDigest(ByteView digest, int algorithm, ByteView bytes);

}  // namespace brindlewick::codesign
