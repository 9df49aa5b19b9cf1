#include "platform/linux/codesign/SealedEntry.h"

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

std::string_view keyOf(HashType type) noexcept {
  switch (type) {
    case HashType::sha1:
      return "hash";
    case HashType::sha256:
      return "hash2";
    case HashType::sha256Truncated:
      return "hash3";
    case HashType::sha384:
      return "hash4";
  }
  return {};
}

template <typename Kind>
const Kind* member(const PropertyListTree& dictionary, std::string_view key) {
  const PropertyListNode* node = find(dictionary, key);
  if (node == nullptr) return nullptr;
  const auto* value = node->as<Kind>();
  require(value != nullptr, "a part of an entry is of its kind");
  return value;
}

}  // namespace

SealedEntry::SealedEntry(const PropertyListNode& node)
    : dictionary_(node.as<PropertyListTree>()), oldHash_(node.as<Bytes>()) {
  require(dictionary_ != nullptr || oldHash_ != nullptr, "an entry is a hash or a dictionary");
  if (dictionary_ == nullptr) return;
  linkTarget_ = member<std::string>(*dictionary_, "symlink");
  requirement_ = member<std::string>(*dictionary_, "requirement");
  require(linkTarget_ == nullptr || requirement_ == nullptr, "an entry seals one kind of item");
  const bool* flag = member<bool>(*dictionary_, "optional");
  isOptional_ = flag != nullptr && *flag;
}

ByteView SealedEntry::hash(HashType type) const {
  const Bytes* value = oldHash_;
  if (dictionary_ != nullptr) {
    value = member<Bytes>(*dictionary_, keyOf(type));
    if (value == nullptr) value = member<Bytes>(*dictionary_, keyOf(HashType::sha1));
  }
  require(value != nullptr, "an entry of a file holds a hash");
  return *value;
}

}  // namespace brindlewick::codesign
