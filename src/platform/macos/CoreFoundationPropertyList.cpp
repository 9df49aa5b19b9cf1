#include "platform/macos/CoreFoundationPropertyList.h"

#include <vector>

#include "platform/macos/CFHolder.h"
#include "platform/macos/CoreFoundationText.h"

namespace brindlewick {
namespace {

/// Absent for an integer beyond 64 bits.
std::optional<PropertyListValue> toNumber(CFNumberRef number) {
  if (CFNumberIsFloatType(number)) {
    double real = 0;
    CFNumberGetValue(number, kCFNumberDoubleType, &real);
    return real;
  }
  std::int64_t value = 0;
  if (!CFNumberGetValue(number, kCFNumberSInt64Type, &value)) return std::nullopt;
  // From 2^63 on it answers the low bits, a negative number, and calls that a success.
  const CFHolder same(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
  if (!same || CFNumberCompare(number, same.get(), nullptr) != kCFCompareEqualTo) return std::nullopt;
  return value;
}

std::optional<PropertyListValue> toValue(CFTypeRef object) {
  if (auto text = toText(object)) return *std::move(text);
  if (CFGetTypeID(object) == CFNumberGetTypeID()) return toNumber(static_cast<CFNumberRef>(object));
  return PropertyListValue();
}

CFHolder<CFPropertyListRef> parse(ByteView content) {
  const CFHolder data(
      CFDataCreateWithBytesNoCopy(nullptr, content.data(), static_cast<CFIndex>(content.size()), kCFAllocatorNull));
  if (!data) return {};
  CFPropertyListFormat format{};
  CFHolder list(CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, &format, nullptr));
  // The oldest format, which no bundle needs, takes almost any text for a list.
  if (format == kCFPropertyListOpenStepFormat) return {};
  return list;
}

}  // namespace

std::optional<PropertyListDictionary> CoreFoundationPropertyList::dictionary(ByteView content) {
  const auto list = parse(content);
  if (!list || CFGetTypeID(list.get()) != CFDictionaryGetTypeID()) return std::nullopt;
  const auto source = static_cast<CFDictionaryRef>(list.get());
  std::vector<CFTypeRef> keys(static_cast<std::size_t>(CFDictionaryGetCount(source)));
  std::vector<CFTypeRef> values(keys.size());
  CFDictionaryGetKeysAndValues(source, keys.data(), values.data());

  PropertyListDictionary dictionary;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    auto key = toText(keys[i]);
    auto value = toValue(values[i]);
    if (!key || !value) return std::nullopt;
    dictionary.emplace(*std::move(key), *std::move(value));
  }
  return dictionary;
}

}  // namespace brindlewick
