#include "platform/linux/codesign/CodeHash.h"

#include <algorithm>

#include "platform/linux/codesign/OpenSSLHolders.h"
#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

const char* algorithmOf(HashType type) noexcept {
  switch (type) {
    case HashType::sha1:
      return "SHA1";
    case HashType::sha256:
    case HashType::sha256Truncated:
      return "SHA256";
    case HashType::sha384:
      return "SHA384";
  }
  return "";
}

}  // namespace

std::optional<HashType> hashTypeOf(std::uint8_t number) noexcept {
  if (number < 1 || number > 4) return std::nullopt;
  return static_cast<HashType>(number);
}

std::size_t hashSize(HashType type) noexcept {
  switch (type) {
    case HashType::sha1:
    case HashType::sha256Truncated:
      return 20;
    case HashType::sha256:
      return 32;
    case HashType::sha384:
      return 48;
  }
  return 0;
}

bool HashValue::equals(ByteView other) const noexcept { return std::ranges::equal(bytes(), other); }

// Looking an algorithm up costs more than hashing a page of 4 KiB, so it happens once for each hasher.
struct CodeHasher::State {
  HashType type;
  DigestHolder digest;
  DigestContextHolder context;
};

CodeHasher::CodeHasher(HashType type) : state_(std::make_unique<State>()) {
  const ErrorQueueScope errors;
  state_->type = type;
  state_->digest.reset(EVP_MD_fetch(nullptr, algorithmOf(type), nullptr));
  state_->context.reset(EVP_MD_CTX_new());
  require(state_->digest && state_->context, "the hash algorithm is available");
  require(EVP_DigestInit_ex2(state_->context.get(), state_->digest.get(), nullptr) == 1, "hashing begins");
}

CodeHasher::~CodeHasher() = default;
CodeHasher::CodeHasher(CodeHasher&&) noexcept = default;
CodeHasher& CodeHasher::operator=(CodeHasher&&) noexcept = default;

HashType CodeHasher::type() const noexcept { return state_->type; }

void CodeHasher::update(ByteView bytes) {
  require(EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()) == 1, "hashing goes on");
}

HashValue CodeHasher::finish() {
  HashValue value;
  static_assert(sizeof value.storage_ >= EVP_MAX_MD_SIZE);
  require(EVP_DigestFinal_ex(state_->context.get(), value.storage_.data(), nullptr) == 1, "hashing ends");
  value.size_ = hashSize(state_->type);
  // The same algorithm again: its context is kept, nothing is looked up or allocated.
  require(EVP_DigestInit_ex2(state_->context.get(), state_->digest.get(), nullptr) == 1, "hashing begins again");
  return value;
}

HashValue hashOf(HashType type, ByteView bytes) {
  CodeHasher hasher(type);
  hasher.update(bytes);
  return hasher.finish();
}

}  // namespace brindlewick::codesign
