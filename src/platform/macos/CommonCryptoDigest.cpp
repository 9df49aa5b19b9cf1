#include <CommonCrypto/CommonDigest.h>

#include <algorithm>
#include <limits>

#include "platform/Digest.h"

namespace brindlewick {

struct SHA256::State {
  CC_SHA256_CTX context;
};

SHA256::SHA256() : state_(std::make_unique<State>()) { CC_SHA256_Init(&state_->context); }

SHA256::~SHA256() = default;

void SHA256::update(ByteView bytes) {
  while (!bytes.empty()) {
    // The length is a 32-bit number here.
    const auto piece = bytes.first(std::min<std::size_t>(bytes.size(), std::numeric_limits<CC_LONG>::max()));
    CC_SHA256_Update(&state_->context, piece.data(), static_cast<CC_LONG>(piece.size()));
    bytes = bytes.subspan(piece.size());
  }
}

SHA256Digest SHA256::finish() {
  SHA256Digest digest{};
  static_assert(digest.size() == CC_SHA256_DIGEST_LENGTH);
  CC_SHA256_Final(digest.data(), &state_->context);
  return digest;
}

}  // namespace brindlewick
