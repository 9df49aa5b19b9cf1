#include <openssl/evp.h>

#include <new>
#include <stdexcept>

#include "platform/Digest.h"

namespace brindlewick {

struct SHA256::State {
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(), EVP_MD_CTX_free};
};

namespace {

void check(int result) {
  if (result != 1) throw std::runtime_error("SHA-256 is not available");
}

}  // namespace

SHA256::SHA256() : state_(std::make_unique<State>()) {
  if (!state_->context) throw std::bad_alloc();
  check(EVP_DigestInit_ex(state_->context.get(), EVP_sha256(), nullptr));
}

SHA256::~SHA256() = default;

void SHA256::update(ByteView bytes) { check(EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size())); }

SHA256Digest SHA256::finish() {
  SHA256Digest digest{};
  check(EVP_DigestFinal_ex(state_->context.get(), digest.data(), nullptr));
  return digest;
}

}  // namespace brindlewick
