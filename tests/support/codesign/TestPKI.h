#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Bytes.h"
#include "platform/Path.h"
#include "support/codesign/DER.h"
#include "support/codesign/TestKey.h"

namespace brindlewick::testing {

/// Midnight UTC of a day, for certificates and clocks.
[[nodiscard]] der::Time day(int year, unsigned month, unsigned dayOfMonth);

/// An extension under any identifier with any value.
struct ExtensionShape {
  std::string oid;
  bool critical = false;
  Bytes value = der::null();
};

/// What a certificate says. Empty texts and absent values leave their extension out.
struct CertificateShape {
  std::vector<std::pair<std::string, std::string>> subject;  ///< "CN", "OU", ... in the order of encoding
  std::string keyName;                                       ///< of TestKey::named
  der::Time notBefore = day(2020, 1, 1);
  der::Time notAfter = day(2040, 1, 1);
  std::optional<bool> authority;         ///< the CA flag of the basic constraints
  std::string issuersDigest = "sha256";  ///< of the issuer's signature
  std::string keyUsage;                  ///< in OpenSSL's words, critical
  std::string extendedKeyUsage;          ///< in OpenSSL's words or as identifiers, comma-separated
  std::vector<ExtensionShape> extensions;
};

/// A certificate with its private key.
struct Identity {
  TestKey key;
  Bytes certificate;
  Bytes issuerName;    ///< as encoded
  Bytes serialNumber;  ///< the whole INTEGER
};

/// Issues a certificate; without an issuer it signs itself.
[[nodiscard]] Identity issue(const CertificateShape& shape, const Identity* issuer);
/// Reads an identity from `name.pem` and `name-key.pem` of a folder, or issues it there.
[[nodiscard]] Identity loadOrIssue(const Path& folder, const std::string& name, const CertificateShape& shape);

/// The certificates of a Developer ID and of the services around it, to be spoiled before they are issued.
struct PKIShape {
  CertificateShape root, intermediate, leaf, timestampAuthority, timestampLeaf, ticketRoot, ticketAuthority, ticketLeaf;

  /// A good Developer ID of this team. `world` names the keys: two worlds trust nothing of each other.
  [[nodiscard]] static PKIShape developerID(const std::string& team = "TEAM123456", const std::string& world = "");
};

/// The certificates, issued.
struct TestPKI {
  Identity root, intermediate, leaf, timestampAuthority, timestampLeaf, ticketRoot, ticketAuthority, ticketLeaf;

  [[nodiscard]] static TestPKI issued(const PKIShape& shape);
  /// The same under a root that exists already, the tickets' certificates included.
  [[nodiscard]] static TestPKI issuedUnder(const Identity& root, const PKIShape& shape);
};

}  // namespace brindlewick::testing
