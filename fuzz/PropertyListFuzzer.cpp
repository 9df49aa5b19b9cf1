// Whatever bytes a bundle has for a property list, they are read or refused; and what is read is sound and has one
// meaning: written out again in the other format, it is read as the same.

#include <plist/plist.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/UTF8.h"
#include "platform/linux/PropertyListTree.h"

namespace {

using namespace brindlewick;

bool isSoundText(std::string_view text) { return isUTF8(text) && text.find('\0') == std::string_view::npos; }

plist_t written(const PropertyListNode& node);

plist_t written(const PropertyListArray& array) {
  const plist_t result = plist_new_array();
  for (const auto& element : array) plist_array_append_item(result, written(element));
  return result;
}

plist_t written(const PropertyListTree& tree) {
  const plist_t result = plist_new_dict();
  for (const auto& [key, node] : tree) {
    if (key.empty() || !isSoundText(key)) __builtin_trap();
    plist_dict_set_item(result, key.c_str(), written(node));
  }
  return result;
}

plist_t written(const std::string& text) {
  if (!isSoundText(text)) __builtin_trap();
  return plist_new_string(text.c_str());
}

plist_t written(const PropertyListNode& node) {
  if (const auto* tree = node.as<PropertyListTree>()) return written(*tree);
  if (const auto* array = node.as<PropertyListArray>()) return written(*array);
  if (const auto* text = node.as<std::string>()) return written(*text);
  if (const auto* data = node.as<Bytes>())
    return plist_new_data(data->empty() ? "" : reinterpret_cast<const char*>(data->data()), data->size());
  if (const auto* number = node.as<std::int64_t>()) return plist_new_uint(static_cast<std::uint64_t>(*number));
  if (const auto* isSet = node.as<bool>()) return plist_new_bool(*isSet ? 1 : 0);
  if (const auto* real = node.as<double>()) {
    if (!std::isfinite(*real)) __builtin_trap();
    return plist_new_real(*real);
  }
  return plist_new_date(0, 0);
}

bool areEqual(const PropertyListNode& left, const PropertyListNode& right);

bool areEqual(const PropertyListTree& left, const PropertyListTree& right) {
  if (left.size() != right.size()) return false;
  for (const auto& [key, node] : left) {
    const auto* other = find(right, key);
    if (other == nullptr || !areEqual(node, *other)) return false;
  }
  return true;
}

bool areEqual(const PropertyListArray& left, const PropertyListArray& right) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i)
    if (!areEqual(left[i], right[i])) return false;
  return true;
}

bool areEqual(const PropertyListNode& left, const PropertyListNode& right) {
  return std::visit(
      [&right](const auto& value) {
        using Kind = std::remove_cvref_t<decltype(value)>;
        const auto* other = right.as<Kind>();
        if (other == nullptr) return false;
        if constexpr (std::is_same_v<Kind, PropertyListTree> || std::is_same_v<Kind, PropertyListArray>)
          return areEqual(value, *other);
        else
          return value == *other;
      },
      left.value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto tree = parsePropertyList(ByteView(data, size));
  if (!tree) return 0;
  const plist_t list = written(*tree);
  char* bytes = nullptr;
  std::uint32_t byteCount = 0;
  plist_to_bin(list, &bytes, &byteCount);
  plist_free(list);
  const auto again = parsePropertyList(ByteView(reinterpret_cast<std::uint8_t*>(bytes), byteCount));
  std::free(bytes);
  if (!again || !areEqual(*tree, *again)) __builtin_trap();
  return 0;
}
