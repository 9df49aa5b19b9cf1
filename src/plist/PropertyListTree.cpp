#include "plist/PropertyListTree.h"

#include <utility>

#include "plist/BinaryPropertyList.h"
#include "plist/PropertyListMeter.h"
#include "plist/PropertyListRefusal.h"
#include "plist/UnicodeText.h"
#include "plist/XMLEncoding.h"
#include "plist/XMLPropertyList.h"

namespace brindlewick {
namespace {

PropertyListNode readXML(std::string_view content, PropertyListMeter& meter) {
  switch (xmlEncoding(content)) {
    case XMLEncoding::latin1:
      return readXMLPropertyList(utf8OfLatin1(content), meter);
    case XMLEncoding::utf8:
      break;
  }
  if (content.starts_with(byteOrderMark)) content.remove_prefix(byteOrderMark.size());
  return readXMLPropertyList(content, meter);
}

}  // namespace

const PropertyListNode* find(const PropertyListTree& dictionary, std::string_view key) {
  const auto entry = dictionary.find(key);
  return entry == dictionary.end() ? nullptr : &entry->second;
}

MeasuredPropertyList readPropertyList(ByteView content) {
  PropertyListMeter meter(content);
  const std::string_view text = asText(content);
  // Any digit may follow, and other characters too: nobody has written another version.
  PropertyListNode top = text.starts_with("bplist0") ? readBinaryPropertyList(content, meter) : readXML(text, meter);
  auto* dictionary = std::get_if<PropertyListTree>(&top.value);
  require(dictionary != nullptr, PropertyListRefusal::noDictionary);
  return {std::move(*dictionary), meter.extent()};
}

std::optional<MeasuredPropertyList> measurePropertyList(ByteView content) try {
  return readPropertyList(content);
} catch (const Failure<PropertyListRefusal>&) {
  return std::nullopt;
}

std::optional<PropertyListTree> parsePropertyList(ByteView content) {
  auto list = measurePropertyList(content);
  return list ? std::optional(std::move(list->top)) : std::nullopt;
}

}  // namespace brindlewick
