#include "platform/linux/codesign/TimestampToken.h"

#include <openssl/objects.h>
#include <openssl/ts.h>

#include <algorithm>

#include "platform/linux/codesign/ASN1Time.h"
#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/SignedData.h"

namespace brindlewick::codesign {
namespace {

// 1.2.840.113549.1.9.16.1.4, the type of a TSTInfo
constexpr std::uint8_t timestampInfoType[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x10, 0x01, 0x04};

void requireDigestAlgorithm(int algorithm) {
  static constexpr int algorithms[] = {NID_sha1, NID_sha256, NID_sha384, NID_sha512};
  require(std::ranges::find(algorithms, algorithm) != std::end(algorithms), "a token has a digest of the SHA families");
}

TimestampInfoHolder decoded(ByteView content) {
  const unsigned char* end = content.data();
  TimestampInfoHolder info(d2i_TS_TST_INFO(nullptr, &end, static_cast<long>(content.size())));
  require(info && end == content.data() + content.size(), "the content of a token can be decoded to its end");
  require(TS_TST_INFO_get_version(info.get()) == 1, "the content of a token has version 1");
  require(TS_TST_INFO_get_ext_by_critical(info.get(), 1, -1) < 0, "a token has no critical extension");
  return info;
}

void requireImprint(TS_TST_INFO* info, ByteView signature) {
  TS_MSG_IMPRINT* const imprint = TS_TST_INFO_get_msg_imprint(info);
  const ASN1_OBJECT* identifier = nullptr;
  X509_ALGOR_get0(&identifier, nullptr, nullptr, TS_MSG_IMPRINT_get_algo(imprint));
  const int algorithm = OBJ_obj2nid(identifier);
  require(algorithm == NID_sha256 || algorithm == NID_sha1, "an imprint is one of SHA-256 or SHA-1");
  const ASN1_OCTET_STRING* const digest = TS_MSG_IMPRINT_get_msg(imprint);
  const ByteView bytes(ASN1_STRING_get0_data(digest), static_cast<std::size_t>(ASN1_STRING_length(digest)));
  require(isDigest(bytes, algorithm, signature), "a token is about this signature");
}

}  // namespace

Timestamp verifyTimestampToken(ByteView token, ByteView signature, const std::set<SHA256Digest>& anchors) {
  const ErrorQueueScope errors;
  const SignedData data(token);
  const std::optional<ByteView> content = data.content();
  require(content.has_value(), "a token carries its content");
  requireDigestAlgorithm(data.digestAlgorithm());
  data.requireContent(timestampInfoType, *content);
  data.requireSignature();

  const TimestampInfoHolder info = decoded(*content);
  requireImprint(info.get(), signature);
  const auto time = timePointOf(TS_TST_INFO_get_time(info.get()));
  require(time.has_value(), "the time of a token can be read");
  return {*time, certificateChain(data.signer(), data.certificates(),
                                  {.purpose = ChainPurpose::timeStamping, .time = *time}, anchors)};
}

}  // namespace brindlewick::codesign
