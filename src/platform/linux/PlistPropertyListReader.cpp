#include "platform/linux/PlistPropertyListReader.h"

#include "plist/PropertyListTree.h"

namespace brindlewick {

std::optional<PropertyListDictionary> PlistPropertyListReader::dictionary(ByteView content) {
  const auto tree = parsePropertyList(content);
  if (!tree) return std::nullopt;
  PropertyListDictionary dictionary;
  for (const auto& [key, node] : *tree) {
    PropertyListValue& value = dictionary[key];
    if (const auto* text = node.as<std::string>()) value = *text;
    if (const auto* number = node.as<std::int64_t>()) value = *number;
    if (const auto* real = node.as<double>()) value = *real;
  }
  return dictionary;
}

}  // namespace brindlewick
