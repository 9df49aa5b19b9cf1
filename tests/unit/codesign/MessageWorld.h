#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/codesign/SignedMessage.h"
#include "support/codesign/SignedMessage.h"

namespace brindlewick::testing {

/// A signature over code directories: a good one, until a test changes its shape before it is written, or its bytes
/// afterwards.
class MessageWorld {
 public:
  PKIShape certificates = PKIShape::developerID();
  MessageShape message;
  std::vector<std::uint8_t> hashTypes = {2};  ///< of the directories, the base first
  der::Time now = day(2026, 6, 1);
  codesign::SignedMessageRules rules;

  /// Signs; everything above is settled then.
  void sign();
  /// A byte of the finished message, counted from the beginning of these bytes in it.
  void flipAt(ByteView needle, std::size_t offset = 0);

  [[nodiscard]] codesign::Signer verify() const;
  /// The rule that the signature breaks; empty when it is accepted.
  [[nodiscard]] std::string brokenRule() const;

  [[nodiscard]] const TestPKI& pki() const { return pki_.value(); }
  /// Of the directory, complete, as the attributes list it.
  [[nodiscard]] Bytes digestOfDirectory(std::size_t n) const;

  Bytes bytes;
  std::vector<Bytes> directories;

 private:
  [[nodiscard]] CodeSigningTrust trust() const;

  std::optional<TestPKI> pki_;
};

/// One change to a good signature and the rule that it breaks. A change that breaks none stands beside its twin: one
/// more byte changed, and that does.
struct MessageCase {
  const char* name;
  const char* rule;  ///< the one that is broken, by the twin if there is one
  std::function<void(MessageWorld&)> change;
  std::function<void(MessageWorld&)> twin = nullptr;

  friend std::ostream& operator<<(std::ostream& out, const MessageCase& c) { return out << c.name; }
};

void judge(const MessageCase& messageCase);

/// Changes the shape of the message, or its signed attributes before they are signed.
[[nodiscard]] std::function<void(MessageWorld&)> message(void (*change)(MessageShape&));
[[nodiscard]] std::function<void(MessageWorld&)> attributes(void (*change)(std::vector<Bytes>&));
/// An attribute, encoded.
[[nodiscard]] Bytes attribute(std::string_view oid, const std::vector<Bytes>& values);
/// Takes the attribute with this identifier out of the list.
Bytes removeAttribute(std::vector<Bytes>& attributes, std::string_view oid);

/// Twins for what is about the whole message.
void flipDirectory(MessageWorld& world);
void flipSignature(MessageWorld& world);

// Rules that many cases break.
inline constexpr const char* content = "the attributes are about this content";
inline constexpr const char* signature = "the signature is one of the signer's key over the attributes";
inline constexpr const char* chain = "a chain leads from the leaf to a root and is valid";

}  // namespace brindlewick::testing
