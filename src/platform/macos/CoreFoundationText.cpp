#include "platform/macos/CoreFoundationText.h"

namespace brindlewick {

CFHolder<CFStringRef> toCFString(std::string_view text) {
  return CFHolder(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                          static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

std::optional<std::string> toText(CFTypeRef object) {
  if (object == nullptr || CFGetTypeID(object) != CFStringGetTypeID()) return std::nullopt;
  const auto string = static_cast<CFStringRef>(object);
  const auto whole = CFRangeMake(0, CFStringGetLength(string));
  const auto convert = [&](UInt8* buffer, CFIndex capacity) {
    CFIndex byteCount = 0;
    const auto converted =
        CFStringGetBytes(string, whole, kCFStringEncodingUTF8, 0, false, buffer, capacity, &byteCount);
    return converted == whole.length ? std::optional(byteCount) : std::nullopt;
  };
  const auto byteCount = convert(nullptr, 0);  // counts only
  if (!byteCount) return std::nullopt;
  std::string text(static_cast<std::size_t>(*byteCount), '\0');
  if (convert(reinterpret_cast<UInt8*>(text.data()), *byteCount) != byteCount) return std::nullopt;
  return text;
}

}  // namespace brindlewick
