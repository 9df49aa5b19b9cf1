#include "platform/linux/codesign/SignedAttributes.h"

#include <algorithm>

#include "platform/linux/codesign/ASN1Time.h"
#include "platform/linux/codesign/OpenSSLHolders.h"
#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

// 1.2.840.113549.1.9.3 to .5 (RFC 5652, section 11)
constexpr std::uint8_t contentTypeIdentifier[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x03};
constexpr std::uint8_t messageDigestIdentifier[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x04};
constexpr std::uint8_t signingTimeIdentifier[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x05};

}  // namespace

Attribute nextAttribute(ber::Reader& attributes) {
  ber::Reader parts(attributes.next(ber::sequence));
  const ByteView identifier = parts.next(ber::objectIdentifier).content;
  const ByteView values = parts.next(ber::set).content;
  require(parts.isAtEnd(), "an attribute is an identifier and its values");
  return {identifier, values};
}

SignedAttributes::SignedAttributes(const ber::Element& element) : element_(element) {
  for (ber::Reader attributes(element_); !attributes.isAtEnd();) static_cast<void>(nextAttribute(attributes));
}

std::optional<ByteView> SignedAttributes::values(ByteView identifier) const {
  std::optional<ByteView> found;
  for (ber::Reader attributes(element_); !attributes.isAtEnd();) {
    const Attribute attribute = nextAttribute(attributes);
    if (!std::ranges::equal(attribute.identifier, identifier)) continue;
    require(!found, "a signed attribute stands once");
    found = attribute.values;
  }
  return found;
}

std::optional<ByteView> SignedAttributes::value(ByteView identifier, std::uint8_t tag) const {
  const std::optional<ByteView> all = values(identifier);
  if (!all) return std::nullopt;
  return ber::only(*all, tag).content;
}

ByteView SignedAttributes::contentType() const {
  const auto type = value(contentTypeIdentifier, ber::objectIdentifier);
  require(type.has_value(), "the signed attributes name the type of the content");
  return *type;
}

ByteView SignedAttributes::messageDigest() const {
  const auto digest = value(messageDigestIdentifier, ber::octetString);
  require(digest.has_value(), "the signed attributes hold the digest of the content");
  return *digest;
}

std::optional<std::chrono::system_clock::time_point> SignedAttributes::signingTime() const {
  const auto all = values(signingTimeIdentifier);
  if (!all) return std::nullopt;
  const ErrorQueueScope errors;
  const unsigned char* end = all->data();
  const TimeHolder decoded(d2i_ASN1_TIME(nullptr, &end, static_cast<long>(all->size())));
  require(decoded && end == all->data() + all->size(), "the signing time is one time");
  const auto time = timePointOf(decoded.get());
  require(time.has_value(), "the signing time can be read");
  return time;
}

}  // namespace brindlewick::codesign
