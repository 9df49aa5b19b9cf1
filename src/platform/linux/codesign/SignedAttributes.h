#pragma once

#include <chrono>
#include <optional>

#include "platform/Bytes.h"
#include "platform/linux/codesign/BER.h"

namespace brindlewick::codesign {

/// One attribute of a list of them (RFC 5652, section 5.3), signed or not.
struct Attribute {
  ByteView identifier;  ///< an OID as encoded, without its header
  ByteView values;      ///< one behind the other
};

/// Reads the next of a list. Throws Refusal.
[[nodiscard]] Attribute nextAttribute(ber::Reader& attributes);

/// The signed attributes of a message (RFC 5652, section 5.3) in the very bytes that the signature covers, so that what
/// is asked is what was signed. Refers to those bytes. No question may have two answers: an attribute that stands twice
/// throws Refusal when it is asked for.
class SignedAttributes {
 public:
  /// `element` is the whole element [0] of the SignerInfo. Throws Refusal.
  explicit SignedAttributes(const ber::Element& element);

  /// What is signed: this byte (the tag of a SET in place of [0], as RFC 5652, section 5.4 has it), then these.
  [[nodiscard]] static constexpr std::uint8_t signedTag() { return ber::set; }
  [[nodiscard]] ByteView signedRest() const { return element_.encoding.subspan(1); }

  /// The values of an attribute, one behind the other. `identifier` is an OID as encoded, without its header.
  [[nodiscard]] std::optional<ByteView> values(ByteView identifier) const;
  /// The only value of an attribute that has one of this tag; absent without the attribute.
  [[nodiscard]] std::optional<ByteView> value(ByteView identifier, std::uint8_t tag) const;

  [[nodiscard]] ByteView contentType() const;    ///< the OID, without its header
  [[nodiscard]] ByteView messageDigest() const;  ///< the digest itself
  /// When the signer claims to have signed.
  [[nodiscard]] std::optional<std::chrono::system_clock::time_point> signingTime() const;

 private:
  ber::Element element_;
};

}  // namespace brindlewick::codesign
