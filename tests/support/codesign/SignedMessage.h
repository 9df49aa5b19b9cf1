#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/codesign/DER.h"
#include "support/codesign/TestPKI.h"

namespace brindlewick::testing {

/// A timestamp token (RFC 3161) over a signature.
struct TimestampShape {
  der::Time time = day(2026, 1, 15);
  std::string digest = "sha256";         ///< of the attributes and their signature
  std::string imprintDigest = "sha256";  ///< over the signature that is stamped
  std::optional<TestPKI> pki;            ///< another world's authority
  bool spoilImprint = false;
  std::uint64_t version = 1;  ///< of the TSTInfo
};

/// What a signed message (CMS, RFC 5652) says beside the content it signs. All attributes are written by hand: their
/// order and their encoding are what the tests are about.
struct MessageShape {
  std::optional<TestPKI> pki;  ///< another world's signer
  std::string digest = "sha256";
  std::string contentType = "1.2.840.113549.1.7.1";
  std::optional<der::Time> signingTime = day(2026, 1, 15);
  std::optional<TimestampShape> timestamp = TimestampShape{};
  bool embedsContent = false;
  bool hasAttributes = true;
  bool embedsIntermediate = true;
  bool embedsRoot = true;
  std::vector<Bytes> furtherCertificates;  ///< embedded before the others
  bool listsCodeHashes = true;             ///< attribute 1.2.840.113635.100.9.1
  bool listsDigests = true;                ///< attribute 1.2.840.113635.100.9.2
  bool digestsInDEROrder = true;           ///< else the values of 9.2 stand the other way round
  std::size_t signerCount = 1;
  std::optional<std::string> signatureAlgorithm;  ///< an identifier, in place of the one of the signer's key and digest
  der::Length outerLengths = der::Length::definite;
  std::optional<Bytes> unsignedAttribute;  ///< in place of the timestamp token

  /// Changes the list of code hashes, the list of digests, and all attributes before they are signed.
  std::function<void(std::vector<Bytes>&)> editCodeHashes, editDigests, editAttributes;
  /// Changes the finished encoding.
  std::function<void(Bytes&)> spoil;
};

/// A CodeDirectory as the hash-agility attributes list it.
struct ListedDirectory {
  std::uint8_t hashType;
  Bytes digest;  ///< complete
};

/// The signed message over `content`, the base directory; `directories` ascending by hash type.
[[nodiscard]] Bytes signedMessage(const MessageShape& shape, ByteView content,
                                  const std::vector<ListedDirectory>& directories, const TestPKI& pki);

}  // namespace brindlewick::testing
