#include <sodium.h>

#include <algorithm>
#include <new>

#include "platform/Ed25519.h"
#include "platform/posix/Sodium.h"

namespace brindlewick {

bool verifyEd25519(const Ed25519PublicKey& key, ByteView message, const Ed25519Signature& signature) {
  posix::readySodium();
  return crypto_sign_verify_detached(signature.bytes.data(), message.data(), message.size(), key.bytes.data()) == 0;
}

std::optional<Ed25519PrivateKey> Ed25519PrivateKey::fromSeed(ByteView seed) {
  posix::readySodium();
  if (seed.size() != crypto_sign_SEEDBYTES) return std::nullopt;
  SecretBytes expanded(crypto_sign_SECRETKEYBYTES);
  Ed25519PublicKey ignored;
  if (crypto_sign_seed_keypair(ignored.bytes.data(), expanded.writable().data(), seed.data()) != 0) return std::nullopt;
  return Ed25519PrivateKey(std::move(expanded));
}

Ed25519PublicKey Ed25519PrivateKey::publicKey() const {
  // The library keeps the public key in the second half of the private one.
  Ed25519PublicKey key;
  std::ranges::copy(expanded_.view().last(key.bytes.size()), key.bytes.begin());
  return key;
}

Ed25519Signature Ed25519PrivateKey::sign(ByteView message) const {
  Ed25519Signature signature;
  crypto_sign_detached(signature.bytes.data(), nullptr, message.data(), message.size(), expanded_.view().data());
  return signature;
}

}  // namespace brindlewick
