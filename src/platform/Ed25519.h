#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "platform/Bytes.h"
#include "platform/SecretBytes.h"

namespace brindlewick {

/// The 32 bytes of an Ed25519 public key (RFC 8032, section 5.1.5).
struct Ed25519PublicKey {
  std::array<std::uint8_t, 32> bytes{};
  bool operator==(const Ed25519PublicKey&) const = default;
};

/// The 64 bytes of an Ed25519 signature (RFC 8032, section 5.1.6).
struct Ed25519Signature {
  std::array<std::uint8_t, 64> bytes{};
  bool operator==(const Ed25519Signature&) const = default;
};

/// Whether the signature of the message was made with the private half of this key. Keys and signature points of small
/// order and encodings that are not canonical verify nothing.
[[nodiscard]] bool verifyEd25519(const Ed25519PublicKey& key, ByteView message, const Ed25519Signature& signature);

/// A private key, in locked memory and wiped at the end.
class Ed25519PrivateKey {
 public:
  /// From the 32 bytes of the seed (RFC 8032, section 5.1.5); absent for any other length.
  [[nodiscard]] static std::optional<Ed25519PrivateKey> fromSeed(ByteView seed);

  [[nodiscard]] Ed25519PublicKey publicKey() const;
  /// Deterministic: the same message always gets the same signature.
  [[nodiscard]] Ed25519Signature sign(ByteView message) const;

 private:
  explicit Ed25519PrivateKey(SecretBytes expanded) : expanded_(std::move(expanded)) {}
  SecretBytes expanded_;
};

}  // namespace brindlewick
