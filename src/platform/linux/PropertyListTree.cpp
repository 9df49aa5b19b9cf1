#include "platform/linux/PropertyListTree.h"

#include <plist/plist.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/linux/PropertyListSyntax.h"

namespace brindlewick {
namespace {

using PropertyListSyntax::Extent;

struct Free {
  void operator()(void* memory) const noexcept { std::free(memory); }
  void operator()(char* memory) const noexcept { std::free(memory); }
};
struct FreePlist {
  void operator()(plist_t plist) const noexcept { plist_free(plist); }
};
using OwnedPlist = std::unique_ptr<void, FreePlist>;

/// Copies what libplist has read, and counts it.
class Conversion {
 public:
  [[nodiscard]] PropertyListNode node(plist_t plist) {
    ++extent_.valueCount;
    switch (plist_get_node_type(plist)) {
      case PLIST_DICT:
        return {dictionary(plist)};
      case PLIST_ARRAY:
        return {array(plist)};
      case PLIST_STRING:
        return {string(plist)};
      case PLIST_DATA:
        return {data(plist)};
      case PLIST_BOOLEAN:
        return {boolean(plist)};
      case PLIST_UINT:
        return {integer(plist)};
      case PLIST_REAL:
        return {real(plist)};
      default:
        return {};
    }
  }

  /// Whether everything was read as it was written, and nothing but one meaning could be read.
  [[nodiscard]] bool agreesWith(const Extent& extent) const { return isUnambiguous_ && extent_ == extent; }

 private:
  PropertyListTree dictionary(plist_t plist) {
    PropertyListTree tree;
    plist_dict_iter position = nullptr;
    plist_dict_new_iter(plist, &position);
    const std::unique_ptr<void, Free> owner(position);
    while (true) {
      char* key = nullptr;
      plist_t value = nullptr;
      plist_dict_next_item(plist, position, &key, &value);
      const std::unique_ptr<char, Free> keyOwner(key);
      if (key == nullptr) return tree;
      const auto [entry, isNew] = tree.emplace(key, node(value));
      isUnambiguous_ = isUnambiguous_ && isNew;
      extent_.byteCount += entry->first.size();
    }
  }

  PropertyListArray array(plist_t plist) {
    PropertyListArray elements;
    elements.reserve(plist_array_get_size(plist));
    plist_array_iter position = nullptr;
    plist_array_new_iter(plist, &position);
    const std::unique_ptr<void, Free> owner(position);
    while (true) {
      plist_t element = nullptr;
      plist_array_next_item(plist, position, &element);
      if (element == nullptr) return elements;
      elements.push_back(node(element));
    }
  }

  std::string string(plist_t plist) {
    std::uint64_t byteCount = 0;
    const char* text = plist_get_string_ptr(plist, &byteCount);
    extent_.byteCount += byteCount;
    return text == nullptr ? std::string() : std::string(text, byteCount);
  }

  Bytes data(plist_t plist) {
    std::uint64_t byteCount = 0;
    const char* bytes = plist_get_data_ptr(plist, &byteCount);
    extent_.byteCount += byteCount;
    return bytes == nullptr ? Bytes() : Bytes(bytes, bytes + byteCount);
  }

  static bool boolean(plist_t plist) {
    std::uint8_t value = 0;
    plist_get_bool_val(plist, &value);
    return value != 0;
  }

  /// The syntax has let only signed numbers of 64 bits pass, whose bits libplist keeps.
  static std::int64_t integer(plist_t plist) {
    std::uint64_t value = 0;
    plist_get_uint_val(plist, &value);
    return static_cast<std::int64_t>(value);
  }

  double real(plist_t plist) {
    double value = 0;
    plist_get_real_val(plist, &value);
    isUnambiguous_ = isUnambiguous_ && std::isfinite(value);
    return value;
  }

  Extent extent_;
  bool isUnambiguous_ = true;
};

std::optional<PropertyListTree> converted(plist_t plist, const Extent& extent) {
  const OwnedPlist owner(plist);
  if (plist == nullptr) return std::nullopt;
  Conversion conversion;
  PropertyListNode top = conversion.node(plist);
  auto* tree = std::get_if<PropertyListTree>(&top.value);
  if (tree == nullptr || !conversion.agreesWith(extent)) return std::nullopt;
  return std::move(*tree);
}

}  // namespace

const PropertyListNode* find(const PropertyListTree& dictionary, std::string_view key) {
  const auto entry = dictionary.find(key);
  return entry == dictionary.end() ? nullptr : &entry->second;
}

std::optional<PropertyListTree> parsePropertyList(ByteView content) {
  if (content.size() > PropertyListSyntax::maximumContentByteCount) return std::nullopt;
  plist_t plist = nullptr;
  // Each format by its own function: the one that guesses takes further formats in later versions.
  if (asText(content).starts_with("bplist00")) {
    const auto extent = PropertyListSyntax::binaryExtent(content);
    if (!extent) return std::nullopt;
    plist_from_bin(asText(content).data(), static_cast<std::uint32_t>(content.size()), &plist);
    return converted(plist, *extent);
  }
  std::string_view text = asText(content);
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  const auto extent = PropertyListSyntax::xmlExtent(text);
  if (!extent) return std::nullopt;
  plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &plist);
  return converted(plist, *extent);
}

}  // namespace brindlewick
