#pragma once

#include <openssl/types.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/Bytes.h"

namespace brindlewick::testing {

/// The digest of some bytes by its OpenSSL name, such as "sha256".
[[nodiscard]] Bytes digestOf(ByteView bytes, std::string_view algorithm);

/// A private key of the tests. Keys are made once a process and told apart by name, so that a certificate can be
/// issued again with other properties at no cost.
class TestKey {
 public:
  /// The key of this name: RSA with 2,048 bits when the name starts with "rsa" and with 768 when it starts with "weak",
  /// else P-256.
  [[nodiscard]] static TestKey named(const std::string& name);
  [[nodiscard]] static TestKey fromPEM(std::string_view text);

  [[nodiscard]] EVP_PKEY* get() const noexcept { return key_.get(); }
  [[nodiscard]] std::string pem() const;
  /// The signature over the digest of `bytes`.
  [[nodiscard]] Bytes sign(ByteView bytes, std::string_view digest) const;
  /// The AlgorithmIdentifier of such a signature in a signed message.
  [[nodiscard]] Bytes signatureAlgorithm(std::string_view digest) const;

 private:
  explicit TestKey(EVP_PKEY* key);

  std::shared_ptr<EVP_PKEY> key_;
};

}  // namespace brindlewick::testing
