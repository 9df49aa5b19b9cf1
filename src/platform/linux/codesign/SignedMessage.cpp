#include "platform/linux/codesign/SignedMessage.h"

#include <openssl/objects.h>

#include <algorithm>
#include <optional>

#include "platform/linux/codesign/CertificateChain.h"
#include "platform/linux/codesign/HashAgility.h"
#include "platform/linux/codesign/OpenSSLHolders.h"
#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/SignedData.h"
#include "platform/linux/codesign/TimestampToken.h"

namespace brindlewick::codesign {
namespace {

constexpr std::size_t maximumMessageByteCount = 4 * 1024 * 1024;

// 1.2.840.113549.1.7.1
constexpr std::uint8_t dataType[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x01};

void requireDigestAlgorithm(int algorithm) {
  static constexpr int algorithms[] = {NID_sha256, NID_sha384, NID_sha512};
  require(std::ranges::find(algorithms, algorithm) != std::end(algorithms), "a message has a digest of SHA-2");
}

std::optional<Timestamp> timestampOf(const SignedData& message, const CodeSigningTrust& trust) {
  const std::optional<ByteView> token = message.timestampToken();
  if (!token) return std::nullopt;
  return verifyTimestampToken(*token, message.signature(), trust.anchors);
}

/// A timestamp proves when the certificates had to be valid. The signer's own word does not: a signature without a
/// timestamp is good beyond the life of its certificates, unless the code itself says otherwise.
ChainPolicy policyAt(const std::optional<Timestamp>& timestamp, const SignedData& message,
                     const SignedMessageRules& rules, const CodeSigningTrust& trust) {
  if (timestamp) return {.purpose = ChainPurpose::codeSigning, .time = timestamp->time};
  const auto claimed = message.attributes().signingTime();
  return {.purpose = ChainPurpose::codeSigning,
          .time = claimed ? *claimed : trust.now(),
          .acceptsOutdated = !rules.expirationIsEnforced};
}

}  // namespace

Signer verifySignedMessage(ByteView message, std::span<const CoveredDirectory> directories,
                           const SignedMessageRules& rules, const CodeSigningTrust& trust) {
  const ErrorQueueScope errors;
  require(!directories.empty(), "there is code to be covered");
  require(message.size() <= maximumMessageByteCount, "a message has at most 4 MiB");
  const SignedData data(message);
  require(!data.content(), "the content of a message is detached");
  requireDigestAlgorithm(data.digestAlgorithm());
  data.requireContent(dataType, directories.front().blob);
  requireHashAgility(data.attributes(), directories);
  data.requireSignature();

  const std::optional<Timestamp> timestamp = timestampOf(data, trust);
  CertificateChain chain =
      certificateChain(data.signer(), data.certificates(), policyAt(timestamp, data, rules, trust), trust.anchors);
  // Whoever makes up a root can make up a time as well: such a time must not revive a certificate of Apple's.
  require(!timestamp || !chain.isAnchored || timestamp->chain.isAnchored, "anchored code has an anchored timestamp");
  return {std::move(chain.certificates), chain.isAnchored};
}

}  // namespace brindlewick::codesign
